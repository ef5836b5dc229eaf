// A tool of the system that is run while everybody waits: with a ceiling on the time of all its runs for one
// purpose, and left alone for a while after it hit that.
//
// A member of the table that needs it; one thread. Nothing throws but std::bad_alloc and what a receiver
// throws.
#pragma once

#include "zel/execute.h"

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

namespace zel {

class Tool
{
public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    /// How long all runs of a round may take together, so that the main loop never waits for half a second;
    /// and how long while the daemon starts, when nobody waits yet and the system is at its slowest.
    static constexpr std::chrono::milliseconds c_oCeiling{400};
    static constexpr std::chrono::milliseconds c_oStartCeiling{2000};
    /// After so long a round should go on in another turn, when others were served.
    static constexpr std::chrono::milliseconds c_oTurn{100};
    /// The tool is not run for so long after it hit the ceiling.
    static constexpr std::chrono::seconds c_oHangWait{30};

    /// Clock and ceiling are a test's, if any.
    explicit Tool(Now a_oNow = &Clock::now, std::chrono::milliseconds a_oCeiling = c_oCeiling);

    Clock::time_point now() const { return m_oNow(); }
    /// True when the round has taken its turn.
    bool isTurnOver() const { return m_oNow() >= m_oBegin + c_oTurn; }
    /// True for a while after the tool hit the ceiling.
    bool isLeftAlone() const { return m_oNow() < m_oNextTry; }
    /// Begins a round of runs. False while the tool is left alone: it must not be run then.
    bool begin() { return begin(m_oCeiling); }
    bool beginAtStart() { return begin(c_oStartCeiling); }
    /// Runs a command line as executeCommand does, for as long as is left of the round. Its result;
    /// c_iExecuteTimedOut also when nothing is left, so that it was not run.
    int run(const std::string& a_sCommand, const std::function<void(std::string_view)>& a_oOutput);

private:
    bool begin(std::chrono::milliseconds a_oCeiling);

    const Now m_oNow;
    const std::chrono::milliseconds m_oCeiling;
    Clock::time_point m_oBegin; // of the round
    Clock::time_point m_oEnd;
    Clock::time_point m_oNextTry; // once it has hit the ceiling
};

} // namespace zel
