// Tells whether a file is a dump from which a database can be made. Stateless; the caller has one thread.
#pragma once

#include "restore/limits.h"

#include <optional>
#include <string>

namespace zel::cfg {

/// Returns when the file is a complete dump that loads: it begins and ends as one, holds no NUL byte, each of
/// its statements runs in a database of its own in memory, that database is sound, and all of it stays within
/// the limits. Otherwise throws systema::SqliteError with what is wrong, in one line without the file's name.
void checkLoads(const std::string& a_sFile, const Limits& a_oLimits);

/// What checkLoads() throws, if it does.
std::optional<std::string> findDumpFault(const std::string& a_sFile,
                                         const Limits& a_oLimits = Limits::ofMachine());

} // namespace zel::cfg
