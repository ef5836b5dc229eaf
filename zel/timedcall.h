// Runs what may wait in the kernel for ever, as a file on a dead mount, in a thread of its own, and waits for
// that for a while only.
//
// A member of who cannot wait; one thread. Nothing throws but std::bad_alloc and std::system_error, when no
// thread can be made. A thread that never ends keeps the process from ending, as the kernel would anyway.
#pragma once

#include <chrono>
#include <functional>
#include <future>

namespace zel {

class TimedCall
{
public:
    /// Calls the function, which must own what it uses and throw nothing. True when it has ended within the
    /// time. Else it goes on, and until it has ended no other is called: false at once.
    bool run(std::function<void()> a_oFunction, std::chrono::milliseconds a_oWait);

private:
    std::future<void> m_oEnd; // of the function that goes on
};

} // namespace zel
