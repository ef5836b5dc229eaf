// How long the main loop has waited for the bus in this tick.
//
// Owned by the system bus, which starts it anew with each iteration; every wait for the bus is counted here.
// Main thread only.
#pragma once

#include <chrono>

namespace zel {

class WaitTime
{
public:
    using Clock = std::chrono::steady_clock;

    /// Longest wait for one answer.
    static constexpr std::chrono::milliseconds c_oLongest{300};
    /// No wait begins after so much, so that all of a tick wait 500 ms at most.
    static constexpr std::chrono::milliseconds c_oMostBefore{200};

    /// Counts the time of its own life.
    class Count
    {
    public:
        explicit Count(WaitTime& a_oTime) : m_oTime(a_oTime) {}
        ~Count() { m_oTime.m_oWaited += Clock::now() - m_oBegin; }
        Count(const Count&) = delete;
        Count& operator=(const Count&) = delete;

    private:
        WaitTime& m_oTime;
        const Clock::time_point m_oBegin = Clock::now();
    };

    void restart() { m_oWaited = {}; }
    bool mayWait() const { return m_oWaited < c_oMostBefore; }

private:
    Clock::duration m_oWaited{};
};

} // namespace zel
