#include "zel/timedcall.h"

#include <csignal>
#include <pthread.h>
#include <thread>
#include <utility>

namespace zel {

namespace {

/// Starts a thread that takes no signals: these are for the main thread.
void start(std::packaged_task<void()> a_oTask)
{
    sigset_t oAll;
    sigset_t oBefore;
    sigfillset(&oAll);
    ::pthread_sigmask(SIG_SETMASK, &oAll, &oBefore);
    try {
        std::thread(std::move(a_oTask)).detach();
    } catch (...) {
        ::pthread_sigmask(SIG_SETMASK, &oBefore, nullptr);
        throw;
    }
    ::pthread_sigmask(SIG_SETMASK, &oBefore, nullptr);
}

} // namespace

bool TimedCall::run(std::function<void()> a_oFunction, std::chrono::milliseconds a_oWait)
{
    using namespace std::chrono_literals;
    if (m_oEnd.valid() && m_oEnd.wait_for(0ms) != std::future_status::ready) {
        return false;
    }
    std::packaged_task<void()> oTask(std::move(a_oFunction)); // keeps what the function throws to itself
    m_oEnd = oTask.get_future();
    start(std::move(oTask));
    return m_oEnd.wait_for(a_oWait) == std::future_status::ready;
}

} // namespace zel
