// The way to the log daemon: datagrams in the form of RFC 3164, as syslog() of the C library sends them, but
// never waiting. A log daemon that does not read cannot stop who logs.
//
// Used by the logger, under its mutex; a process has one, for all its life. What the log daemon has no room
// for is kept and sent before all that follows, 16 KiB of it; after that lines are lost until the way is free
// again, and counted. A log daemon that starts again is found again.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <string_view>

namespace zel {

class LogSocket
{
public:
    /// Sets the path of the log daemon's socket and the name under which to log, each cut to what fits.
    void open(std::string_view a_sPath, std::string_view a_sName);

    /// Sends a line with its priority and facility, and with the local time, or keeps it.
    void write(int a_iPriority, std::string_view a_sLine);

    /// Sends what was kept. Waits for the log daemon for so long at most.
    void flush(std::chrono::milliseconds a_oWait = {});

private:
    enum class EResult
    {
        Sent,
        Full,
        Broken // the connection is of no use
    };

    void keep(std::string_view a_sMessage);
    bool sendKept();
    bool send(std::string_view a_sMessage);
    EResult trySend(std::string_view a_sMessage);
    bool connect();
    void close();

    static constexpr std::size_t c_iKept = 16 * 1024;

    std::array<char, 108> m_aPath{}; // as the address has room for
    std::array<char, 64> m_aName{};
    int m_iFd = -1; // open until the process ends
    bool m_bStream = false;
    std::array<char, c_iKept> m_aKept{}; // messages, each behind its size
    std::size_t m_iKept = 0;
    unsigned m_iLost = 0;
};

} // namespace zel
