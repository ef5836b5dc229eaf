// Reads commands line by line, carries them out, and serves the bus meanwhile. A line that is wrong is
// complained of on standard error and skipped. Nothing throws but std::bad_alloc; one thread.
#pragma once

#include "tools/simulator.h"

#include <chrono>
#include <string>
#include <string_view>

namespace zel::netsim {

/// One line a command, for people.
std::string describeCommands();

class Script
{
public:
    Script(Bus& a_oBus, Simulator& a_oSimulator) : m_oBus(a_oBus), m_oSimulator(a_oSimulator) {}

    /// Carries out what comes from the descriptor until its end, or for ever. The exit status: 0, 64 when a
    /// line was wrong, 69 when the bus has gone.
    int run(int a_iInput, bool a_bStay);

    /// Carries out one line.
    Failure execute(std::string_view a_sLine);

    // The commands.
    Failure send(Words a_lArguments);
    Failure storm(Words a_lArguments);
    Failure sendBad(Words a_lArguments);
    Failure link(Words a_lArguments);
    Failure cache(Words a_lArguments);
    Failure sleep(Words a_lArguments);

private:
    using Clock = std::chrono::steady_clock;

    /// Sends a signal so many times, with the types given or those that it should have.
    Failure emit(const std::string& a_sSignal, const std::optional<std::string>& a_oTypes, Words a_lArguments,
                 unsigned a_iTimes = 1);
    bool isAsleep() const { return Clock::now() < m_oWakeUp; }
    /// Carries out the whole lines that are there, unless asleep.
    void executeLines();
    /// False at the end of the input, which ends its last line.
    bool read(int a_iInput);
    void complain(const std::string& a_sWhat);

    Bus& m_oBus;
    Simulator& m_oSimulator;
    std::string m_sInput; // not yet carried out
    unsigned m_iLine = 0;
    bool m_bFaulty = false;
    Clock::time_point m_oWakeUp;
};

} // namespace zel::netsim
