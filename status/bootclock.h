// The time that tables go by: seconds since the system started, those of its sleep counted, or a test's.
// Users and time services set the wall clock, also back; this one only goes forward.
//
// Plain functions; the host asks on the main thread.
#pragma once

#include <ctime>
#include <functional>

namespace zel {

using BootClock = std::function<std::time_t()>;

inline std::time_t secondsSinceBoot()
{
    timespec oNow{};
    ::clock_gettime(CLOCK_BOOTTIME, &oNow);
    return oNow.tv_sec;
}

} // namespace zel
