// The time that tables go by, in seconds since the epoch: the wall clock, or a test's.
//
// A plain function; the host asks it on the main thread.
#pragma once

#include <ctime>
#include <functional>

namespace zel {

using WallClock = std::function<std::time_t()>;

} // namespace zel
