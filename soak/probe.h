// Asks the daemon for little and often, and so learns how long its loop stalls, and of the longest stalls
// what went on meanwhile. Two threads of its own; one that stops being answered counts as a fault.
#pragma once

#include "soak/daemon.h"
#include "soak/world.h"

#include <atomic>
#include <iosfwd>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace soak {

class Probe
{
public:
    /// Starts to ask. Both must outlive it.
    Probe(World& a_oWorld, const Daemon& a_oDaemon);
    /// Ends once the run is over.
    ~Probe() { join(); }
    void join();

    /// After join().
    void print(std::ostream& a_oTo) const;

private:
    struct Stall
    {
        std::chrono::seconds m_oAfter; // the start of the run
        std::chrono::nanoseconds m_oTook;
        Schedule m_oSchedule; // of the daemon within that time
        std::map<std::string, int> m_mSeen;
        std::vector<std::string> m_lActivities;
        std::vector<std::string> m_lLog;
    };

    void ask();
    void look();
    void keep(Stall a_oStall);

    World& m_oWorld;
    const Daemon& m_oDaemon;
    const Clock::time_point m_oStart = Clock::now();
    std::vector<float> m_lMilliseconds; // that the answers took
    std::vector<Stall> m_lStalls;       // the longest, longest first

    std::mutex m_oMutex; // of what follows
    std::optional<Clock::time_point> m_oAsked;
    std::map<std::string, int> m_mSeen; // since it was asked: how often

    std::thread m_oAsking;
    std::thread m_oLooking;
};

} // namespace soak
