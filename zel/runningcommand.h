// A command line that runs under /bin/sh while its owner does something else.
//
// Owned by its starter; one thread. Destroying it before its end kills the command and every process of its
// group. It starts as with executeCommand, and its results mean the same. Nothing throws but std::bad_alloc
// and what the receiver throws.
#pragma once

#include "zel/uniquefd.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace zel {

class RunningCommand
{
public:
    using Receiver = std::function<void(std::string_view)>;

    /// Starts the command, which is killed once it has run for the ceiling (0: none). What it writes is
    /// handed to the receiver by wait.
    RunningCommand(const std::string& a_sCommand, Receiver a_oOutput, std::chrono::milliseconds a_oCeiling);
    ~RunningCommand();
    RunningCommand(const RunningCommand&) = delete;
    RunningCommand& operator=(const RunningCommand&) = delete;

    /// Waits up to that time, one hour at most, for the end of the command. Returns its result, once; nullopt
    /// while it runs.
    std::optional<int> wait(std::chrono::milliseconds a_oTime);

private:
    bool read();
    void readWhatIsThere();

    const Receiver m_oOutput;
    UniqueFd m_oPipe; // of what it writes
    UniqueFd m_oEnd;  // readable at its end
    pid_t m_iPid = 0; // 0 once it has ended, or when it could not be started
    std::chrono::steady_clock::time_point m_oDeadline;
};

} // namespace zel
