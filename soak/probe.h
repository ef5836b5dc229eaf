// Asks the daemon for little and often, and so learns how long its loop stalls, and of the longest stalls
// what went on meanwhile. A thread of its own; that it is no longer answered counts as a fault.
#pragma once

#include "soak/daemon.h"
#include "soak/world.h"

#include <iosfwd>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace soak {

class Probe
{
public:
    /// Starts to ask. Both must outlive it.
    Probe(World& a_oWorld, const Daemon& a_oDaemon);

    /// Once the run is over; before print().
    void join() { m_oThread.join(); }
    void print(std::ostream& a_oTo) const;

private:
    struct Stall
    {
        std::chrono::seconds m_oAfter; // the start of the run
        std::chrono::nanoseconds m_oTook;
        Schedule m_oSchedule;               // of the daemon within that time
        std::map<std::string, int> m_mSeen; // what it was doing: how often
        std::vector<std::string> m_lLog;
    };

    void run();
    Status ask(Connection& a_oConnection, std::map<std::string, int>& a_mSeen) const;

    World& m_oWorld;
    const Daemon& m_oDaemon;
    const Clock::time_point m_oStart = Clock::now();
    std::vector<double> m_lMilliseconds; // that the answers took
    std::vector<Stall> m_lStalls;        // the longest, longest first
    std::jthread m_oThread;              // of what stands above
};

} // namespace soak
