// Marks the thread as working for a client, so that one client cannot flood the log (see zel/loglimit.h).
// Nested marks hold for their own scope. Set by who serves clients; read by the logger.
#pragma once

#include <sys/types.h>

namespace zel {

class LogClient
{
public:
    struct Id
    {
        uid_t m_iUser;
        int m_iConnection;
        unsigned m_iLines = 1; // of a kind that are logged in a second

        bool operator==(const Id&) const = default;
    };

    static constexpr int c_iAnyConnection = -1;
    static constexpr int c_iFifo = -2;

    /// A client is a user and a connection, told by its descriptor: who connects again has the same number as
    /// a rule, and so is the same client. More than one line is for what stands for several clients.
    explicit LogClient(uid_t a_iUser, int a_iConnection = c_iAnyConnection, unsigned a_iLines = 1)
        : m_oId{a_iUser, a_iConnection, a_iLines}
    {
        t_pCurrent = &m_oId;
    }
    // cppcheck-suppress selfAssignment ; the current client is another one by then
    ~LogClient() { t_pCurrent = m_pPrevious; }
    LogClient(const LogClient&) = delete;
    LogClient& operator=(const LogClient&) = delete;

    /// The client of this thread, null without one.
    static const Id* current() { return t_pCurrent; }

private:
    static inline constinit thread_local const Id* t_pCurrent = nullptr;

    const Id* const m_pPrevious = t_pCurrent;
    const Id m_oId;
};

} // namespace zel
