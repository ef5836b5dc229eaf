// Stores a file of `ledgerctl backup` as the generation after the current one.
//
// Stateless; the caller has one thread and holds the lock on the databases, so that no daemon saves. What is
// written is written beside the generations and becomes one by one rename, when it is complete, sound and on
// disk: whatever happens before, the current generation stays as it is.
#pragma once

#include "restore/limits.h"

#include <cstdint>
#include <functional>
#include <string>

namespace zel::cfg {

/// Returns the number of the new generation. The store is made when it is missing, for its owner alone.
/// The file "-" is standard input, of which a copy without a name is made in the directory a_sScratch.
/// a_oCheck gets the path of each dump, "NAME.db.sql" in some directory, and throws when the dump is
/// unusable. Throws an std::exception with what is wrong in one line, be it a fault of the file or of the
/// machine.
std::uint64_t storeBackup(const std::string& a_sFile, const std::string& a_sStore,
                          const std::string& a_sScratch, const Limits& a_oLimits,
                          const std::function<void(const std::string&)>& a_oCheck);

/// Makes the directory for its owner alone, with those above it, unless it is there. Throws
/// std::filesystem::filesystem_error.
void makePrivateDirectory(const std::string& a_sDirectory);

} // namespace zel::cfg
