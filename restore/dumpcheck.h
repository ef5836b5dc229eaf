// Tells whether a file is a dump from which a database can be made. Stateless.
#pragma once

#include <optional>
#include <string>

namespace zel::cfg {

/// Nothing when the file is a complete dump that loads: it begins and ends as one, holds no NUL byte, each of
/// its statements runs in a database of its own in memory, and that database is sound. Otherwise what is
/// wrong, in one line without the file's name. Files above 256 MiB are refused.
std::optional<std::string> findDumpFault(const std::string& a_sFile);

} // namespace zel::cfg
