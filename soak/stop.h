// Tells all threads that the run is over, and is how they pause. Any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace soak {

class Stop
{
public:
    void request()
    {
        const std::lock_guard oGuard(m_oMutex);
        m_bRequested = true;
        m_oCondition.notify_all();
    }
    bool requested() const
    {
        const std::lock_guard oGuard(m_oMutex);
        return m_bRequested;
    }
    /// Pauses, until the run is over at most. False when it is.
    bool pause(std::chrono::milliseconds a_oTime)
    {
        std::unique_lock oGuard(m_oMutex);
        return !m_oCondition.wait_for(oGuard, a_oTime, [this] { return m_bRequested; });
    }

private:
    mutable std::mutex m_oMutex;
    std::condition_variable m_oCondition;
    bool m_bRequested = false;
};

} // namespace soak
