// Tells a table whether its source is to be read again, or what was read last is still served.
//
// A member of the table; main thread only. The clock is the wall clock, or a test's: set back, nothing is due
// until it has caught up.
#pragma once

#include "status/wallclock.h"

#include <ctime>
#include <utility>

namespace zel {

class ReadInterval
{
public:
    /// What was read holds for the second in which it was read and as many full seconds after it.
    ReadInterval(WallClock a_oNow, std::time_t a_iSeconds) : m_oNow(std::move(a_oNow)), m_iSeconds(a_iSeconds)
    {
    }

    bool isOver() const { return m_oNow() > m_iLastRead + m_iSeconds; }
    /// What was read is gone.
    void expire() { m_iLastRead = 0; }
    void restart() { m_iLastRead = m_oNow(); }

private:
    const WallClock m_oNow;
    const std::time_t m_iSeconds;
    std::time_t m_iLastRead = 0;
};

} // namespace zel
