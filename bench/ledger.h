// A real ledgerd in a private directory, and what a client does with it.
//
// The daemon is a child of this process, on the same processor, and is ended with its object. Every failure
// ends the measurement.
#pragma once

#include "bench/childprocess.h"
#include "bench/stopwatch.h"
#include "bench/workspace.h"
#include "client/connection.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace bench {

using systema::client::Connection;

class Ledger
{
public:
    /// Starts a daemon on the files that the function puts into the directory it is given.
    explicit Ledger(const std::function<void(const std::filesystem::path&)>& a_oFill);

    /// Connects; when the daemon is not there yet, again and again for a while.
    std::unique_ptr<Connection> connect() const;
    /// Gives the daemon a command over its FIFO; it must have answered before.
    void command(const std::string& a_sCommand) const;
    /// Where its dumps are, and everything else of its own.
    const std::filesystem::path& path() const { return m_oWorkspace.path(); }
    pid_t pid() const { return m_oProcess.pid(); }
    /// When the daemon was started, its files being ready.
    Clock::time_point startTime() const { return m_oStart; }
    /// Memory that the daemon has now.
    double residentKiB() const;

private:
    Workspace m_oWorkspace;
    Clock::time_point m_oStart;
    ChildProcess m_oProcess;
};

} // namespace bench
