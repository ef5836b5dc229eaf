// The one door to the fixed paths of the system.
#pragma once

#include <string>
#include <string_view>

namespace zel {

/// Returns the path with the value of the environment variable LEDGERD_ROOT (empty by default) in front.
/// Every fixed path of the system ("/etc/...", "/proc/...", "/tmp") passes through here, so that a demo or
/// a test run never touches the machine's own files. Paths given on a command line are used as they are, and
/// so are the kernel's files under /proc/net, which describe the process's own network namespace.
std::string systemPath(std::string_view a_sPath);

} // namespace zel
