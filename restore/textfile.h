// Reading a text that holds SQL. Stateless.
#pragma once

#include <string>

namespace zel::cfg {

/// The whole text. Throws std::runtime_error, with what is wrong in one line without the file's name: no
/// regular file, one that cannot be read, longer than 256 MiB, or with a NUL byte.
std::string readTextFile(const std::string& a_sFile);

} // namespace zel::cfg
