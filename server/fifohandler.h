// The command channel: short texts that other processes write to a FIFO, to save, lock, dump and tune.
//
// Owned by main, an event handler on the main thread. There is no reply; the effect shows in the log and on
// the databases. What one read gives, 256 bytes at most, is one command: a keyword, and after exactly one
// character an argument; everything behind it is ignored. Equal commands that wait in the FIFO one behind the
// other are one, so that a burst of them costs no more than its first. Between two dumps is a pause as long
// as the first took, so that clients are served half of the time at least. Whatever the bytes, the worst is
// that nothing happens. A FIFO that was removed, as by who cleans /tmp up, is made again within seconds.
#pragma once

#include "systema/eventdispatcher.h"
#include "zel/fifo.h"

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace zel::cfg {

class PersistScript;
class SqliteDump;

class FifoHandler : public systema::net::IEventHandler
{
public:
    using Clock = std::chrono::steady_clock;

    /// Makes or opens the FIFO; throws std::system_error when that fails. Nothing but the FIFO is owned. The
    /// clock is a test's, if any.
    FifoHandler(systema::net::EventDispatcher& a_oEvents, SqliteDump& a_oDump, PersistScript& a_oScript,
                const std::string& a_sFifoFile, std::function<Clock::time_point()> a_oNow = &Clock::now);
    /// Removes the FIFO.
    ~FifoHandler() override;
    FifoHandler(const FifoHandler&) = delete;
    FifoHandler& operator=(const FifoHandler&) = delete;

    /// Carries out one command, which ends the pass; a descriptor that is not the FIFO's is an assertion
    /// failure.
    void handleEvent(int a_iFd) override;

private:
    using Command = std::array<char, sys::c_iFifoCommandSize + 1>; // one byte more, so that it always ends

    std::optional<Command> read();
    void handle(const Command& a_aCommand);
    void execute(const char* a_pCommand);
    void trigger();
    void requestDump(const char* a_pOption);
    void dumpWhenFree();
    void dump();
    void setWaitTime(const char* a_pSeconds);
    void setPersistMode(const char* a_pMode);
    void listen();
    void checkName();
    void reopen();

    const int m_iModule;
    systema::net::EventDispatcher& m_oEvents;
    SqliteDump& m_oDump;
    PersistScript& m_oScript;
    sys::Fifo m_oFifo;
    // For the next command when that has been read, or for another try to reopen the FIFO.
    std::optional<systema::net::EventDispatcher::TimerId> m_oTimer;
    const std::function<Clock::time_point()> m_oNow;
    Clock::time_point m_oNextDump; // not before
    std::optional<systema::net::EventDispatcher::TimerId> m_oDumpTimer;
    std::optional<systema::net::EventDispatcher::TimerId> m_oCheck;
    bool m_bFailureLogged = false;  // since the FIFO could be opened
    bool m_bDumpPersistent = false; // asked for
    bool m_bDumpTransient = false;
};

} // namespace zel::cfg
