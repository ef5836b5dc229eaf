// Decides whether a table reads its source again or serves what it read last.
//
// A member of the table; main thread only. Should the clock go back, as a test's may, nothing is due until it
// has caught up.
#pragma once

#include "status/bootclock.h"

#include <ctime>
#include <optional>
#include <utility>

namespace zel {

class ReadInterval
{
public:
    /// What was read holds for the second in which it was read and as many full seconds after it.
    ReadInterval(BootClock a_oNow, std::time_t a_iSeconds) : m_oNow(std::move(a_oNow)), m_iSeconds(a_iSeconds)
    {
    }

    bool isOver() const { return !m_oLastRead || m_oNow() > *m_oLastRead + m_iSeconds; }
    /// What was read is gone.
    void expire() { m_oLastRead.reset(); }
    void restart() { m_oLastRead = m_oNow(); }

private:
    const BootClock m_oNow;
    const std::time_t m_iSeconds;
    std::optional<std::time_t> m_oLastRead; // the clock begins at 0
};

} // namespace zel
