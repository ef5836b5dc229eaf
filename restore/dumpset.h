// The dumps that make one saved state: one of each persistent database, and nothing else. Stateless.
#pragma once

#include <string>
#include <vector>

namespace zel::cfg {

/// The names of all files of a set, in the order in which the daemon writes them.
std::vector<std::string> dumpNames();
bool isDumpName(const std::string& a_sName);

} // namespace zel::cfg
