// Opens the files that somebody hands to ledger-restore. Stateless; any thread. Failures are a
// std::runtime_error with what is wrong in one line without the file's name.
#pragma once

#include "zel/uniquefd.h"

#include <cstdint>
#include <string>

namespace zel::cfg {

struct RegularFile
{
    UniqueFd m_oFile;
    std::uint64_t m_iSize = 0; // when it was opened
};

/// Opens the file for reading. Throws when that fails, and for a directory, a pipe or a device, without
/// waiting. A file that may be good but cannot be opened here and now (no permission, no memory, too many
/// open files) is a systema::SqliteError of the machine.
RegularFile openRegularFile(const std::string& a_sFile);

/// Throws the text of errno.
[[noreturn]] void throwSystemError();

} // namespace zel::cfg
