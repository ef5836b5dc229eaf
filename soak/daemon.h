// The daemon under load, as far as it can be seen from without: what the kernel tells of it, and its log.
//
// Any thread. Of a daemon that has ended there is nothing to be seen: zeros and empty lists.
#pragma once

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
    /// Throws std::runtime_error when there is no such process.
    Daemon(pid_t a_iProcess, std::string a_sLog);

    /// Waits for the daemon to end, for so long at most. True when it has.
    bool waitForEnd(std::chrono::milliseconds a_oTime) const;

    Usage usage() const;
    Schedule schedule() const;
    /// What the main thread does or waits for, and which commands its children and those of the other
    /// threads run: a line each.
    std::vector<std::string> situation() const;

    off_t logSize() const;
    /// The whole lines of a part of the log.
    std::vector<std::string> logLines(off_t a_iFrom, off_t a_iTo) const;

private:
    std::string proc(const std::string& a_sFile) const;

    const std::string m_sProcess;
    const std::string m_sLog;
    const zel::UniqueFd m_oPidFd;
};

} // namespace soak
