// The daemon under load: a child of this process, its log in a file, and what the kernel tells of it.
//
// Made before any thread. Its reading functions may be used by any thread; those that end it belong to main.
#pragma once

#include "bench/childprocess.h"
#include "zel/uniquefd.h"

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace soak {

struct Usage
{
    long m_iResidentKiB = 0;
    long m_iDescriptors = 0;
    long m_iThreads = 0;
};

/// Of the daemon's main thread, since it began.
struct Schedule
{
    std::chrono::nanoseconds m_oRunning{};
    std::chrono::nanoseconds m_oReady{}; // waiting for a processor
};

class Daemon
{
public:
    /// Starts the command, whose output goes to the log. Throws std::runtime_error.
    Daemon(const std::vector<std::string>& a_lCommand, std::string a_sLog);

    /// Waits for the daemon to end, for so long at most. True when it has.
    bool waitForEnd(std::chrono::milliseconds a_oTime) const;
    void terminate() const;
    /// After its end, once: true when its status was 0.
    bool hasSucceeded() { return m_oProcess.wait(); }

    Usage usage() const;
    Schedule schedule() const;
    /// Processor seconds of the daemon itself, and of its children that have ended.
    std::pair<double, double> processorSeconds() const;
    /// What the main thread does or waits for, and which commands its children and those of the other
    /// threads run: a line each.
    std::vector<std::string> situation() const;

    off_t logSize() const;
    /// The whole lines of a part of the log.
    std::vector<std::string> logLines(off_t a_iFrom, off_t a_iTo) const;
    std::vector<std::string> logTail() const;

private:
    std::string proc(const std::string& a_sFile) const;

    const std::string m_sLog;
    bench::ChildProcess m_oProcess;
    zel::UniqueFd m_oPidFd;
};

} // namespace soak
