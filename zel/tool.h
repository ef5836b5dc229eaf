// A tool of the system, with a ceiling on the time of each run, and left alone for a while after it was
// killed at that.
//
// A member of the table that needs it; one thread. A tool of which one short run is wanted is run while
// everybody waits. One that runs many times, or asks name servers, runs in the background: its owner looks
// for the end now and then, and others are served meanwhile. Nothing throws but std::bad_alloc and what a
// receiver throws.
#pragma once

#include "zel/execute.h"
#include "zel/runningcommand.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zel {

class Tool
{
public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;
    using Receiver = RunningCommand::Receiver;

    /// How long a run may take for which everybody waits, so that the main loop never waits for half a
    /// second; and how long while the daemon starts, when nobody waits yet and the system is at its slowest.
    static constexpr std::chrono::milliseconds c_oCeiling{400};
    static constexpr std::chrono::milliseconds c_oStartCeiling{2000};
    /// How long a run in the background may take.
    static constexpr std::chrono::milliseconds c_oBackgroundCeiling{3000};
    /// For how long of a turn everybody may wait for runs that are short; others are served after it.
    static constexpr std::chrono::milliseconds c_oTurn{50};
    /// The tool is not run for so long after it was killed.
    static constexpr std::chrono::seconds c_oHangWait{30};

    /// Clock, ceiling of every run and turn are a test's, if any.
    explicit Tool(Now a_oNow = &Clock::now);
    Tool(Now a_oNow, std::chrono::milliseconds a_oCeiling, std::chrono::milliseconds a_oTurn = c_oTurn);

    Clock::time_point now() const { return m_oNow(); }
    /// True when the turn is over.
    bool isTurnOver() const { return m_oNow() >= m_oBegin + m_oTurn; }
    /// True for a while after the tool was killed.
    bool isLeftAlone() const { return m_oNow() < m_oNextTry; }
    /// Begins a turn. False while the tool is left alone: it must not be run then.
    bool begin() { return begin(m_oCeiling); }
    bool beginAtStart() { return begin(m_oStartCeiling); }
    /// Runs a command line as executeCommand does, and waits for it. Its result.
    int run(const std::string& a_sCommand, const Receiver& a_oOutput);

    /// Runs a command line in the background, in place of the one that runs there. What the receiver refers
    /// to must live until the end of the run.
    void start(const std::string& a_sCommand, Receiver a_oOutput);
    bool isRunning() const { return m_pRunning != nullptr; }
    /// Waits for the end of that run while the turn lasts. Its result; nothing while it runs.
    std::optional<int> finish();
    /// Kills it, without leaving the tool alone.
    void stop() { m_pRunning.reset(); }

private:
    bool begin(std::chrono::milliseconds a_oCeiling);
    int note(int a_iResult);

    const Now m_oNow;
    const std::chrono::milliseconds m_oCeiling = c_oCeiling;
    const std::chrono::milliseconds m_oStartCeiling = c_oStartCeiling;
    const std::chrono::milliseconds m_oBackgroundCeiling = c_oBackgroundCeiling;
    const std::chrono::milliseconds m_oTurn = c_oTurn;
    std::chrono::milliseconds m_oRunCeiling = m_oCeiling; // of the runs of this turn
    Clock::time_point m_oBegin;                           // of the turn
    Clock::time_point m_oNextTry;                         // once it was killed
    std::unique_ptr<RunningCommand> m_pRunning;
};

} // namespace zel
