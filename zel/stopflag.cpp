#include "zel/stopflag.h"

#include <atomic>

namespace zel {

namespace {

std::atomic<bool> s_bStop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may not wait for a lock");

} // namespace

void requestStop()
{
    s_bStop.store(true, std::memory_order_relaxed);
}

bool isStopRequested()
{
    return s_bStop.load(std::memory_order_relaxed);
}

void clearStop()
{
    s_bStop.store(false, std::memory_order_relaxed);
}

} // namespace zel
