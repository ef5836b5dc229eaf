// Runs a tool of the system. Each run has a ceiling: a run that reaches it is killed, and the tool is not run
// for a while.
//
// A member of the table that needs it; one thread. run() blocks the main loop, for a tool that is run once
// and is short. start() and finish() run the tool in the background, for one that runs many times or asks
// name servers: the owner polls for the end, and other clients are served meanwhile. Nothing throws but
// std::bad_alloc and what a receiver throws.
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

    /// Ceiling of run(), so that the main loop never waits for half a second; and while the daemon starts,
    /// when it has no clients yet and the system is at its slowest.
    static constexpr std::chrono::milliseconds c_oCeiling{400};
    static constexpr std::chrono::milliseconds c_oStartCeiling{2000};
    /// Ceiling of a run in the background.
    static constexpr std::chrono::milliseconds c_oBackgroundCeiling{3000};
    /// How long the main loop waits for runs of one turn.
    static constexpr std::chrono::milliseconds c_oTurn{50};
    /// The tool is not run for so long after it was killed.
    static constexpr std::chrono::seconds c_oHangWait{30};

    /// Tests give a clock, one ceiling for all runs, and a turn.
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

    /// Starts a command line in the background; one that still runs there is killed. What the receiver refers
    /// to must live until the end of the run.
    void start(const std::string& a_sCommand, Receiver a_oOutput);
    bool isRunning() const { return m_pRunning != nullptr; }
    /// Waits for the end of that run until the turn is over. Returns its result; nullopt while it runs.
    std::optional<int> finish();
    /// Kills that run; the tool may be run again at once.
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
