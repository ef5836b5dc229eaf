// Serves the configuration protocol: owns the client sessions and what they share.
//
// Owned by main; main thread only. Every limit on clients stands here.
#pragma once

#include "configmanager/clientsession.h"
#include "configmanager/ilogger.h"
#include "configmanager/turnqueue.h"
#include "systema/configdispatcher.h"
#include "systema/eventdispatcher.h"
#include "systema/unixsocketserver.h"
#include "zel/memory.h"

#include <array>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>

namespace zel::cfg {

constexpr std::size_t c_iMaxConnections = 1024;
constexpr std::size_t c_iMaxConnectionsPerUser = c_iMaxConnections * 3 / 4; // root excepted
constexpr std::size_t c_iReadSize = 64 * 1024;
constexpr std::size_t c_iKeptLimit =
    16 * 1024 * 1024; // input, output and rows kept for all connections together
constexpr std::size_t c_iKeptLimitPerUser = c_iKeptLimit * 3 / 4; // root excepted

class ConfigServiceManager : public systema::net::IConnectionSink,
                             public systema::ITransactionObserver,
                             public zel::Cache
{
public:
    using Clock = systema::net::EventDispatcher::Clock;

    /// a_iFairness is the most requests of one connection that are served before the next has its turn.
    ConfigServiceManager(systema::net::EventDispatcher& a_oEventDispatcher, unsigned a_iFairness,
                         configmanager::serverlib::ILogger* a_pLogger);
    ~ConfigServiceManager() override;
    ConfigServiceManager(const ConfigServiceManager&) = delete;
    ConfigServiceManager& operator=(const ConfigServiceManager&) = delete;

    /// Opens a session; a connection over the limits is told result 2 and closed.
    void takeConnection(zel::UniqueFd a_oSocket) override;
    /// Closes every connection, as its end does; an open transaction is rolled back. No other may come then.
    void closeConnections();

    void transactionLost(const void* a_pHandle, const char* a_pReason) override;
    void transactionEnded() override;
    void transactionFree() override;
    void transactionLocked() override;
    void dropCache() override;

    // For the sessions.
    systema::net::EventDispatcher& getEventDispatcher() { return m_oEventDispatcher; }
    TurnQueue& getTurns() { return m_oTurns; }
    systema::ConfigDispatcher& getDispatcher() { return m_oDispatcher; }
    unsigned getFairness() const { return m_iFairness; }
    int getModule() const { return m_iModule; }
    /// What one read of a socket is read into, and where replies are put together. A session uses them from
    /// the arrival of bytes to the answer, and leaves nothing there.
    std::array<char, c_iReadSize>& getReadBuffer() { return m_aReadBuffer; }
    std::string& getWriteBuffer() { return m_sWriteBuffer; }
    void countRequest() { ++m_iRequests; }
    /// The server's information, a row.
    systema::ValueList getInfo() const;
    /// The session waits for its turn to begin a transaction.
    void queueBegin(ClientSession& a_oSession) { m_lWaiting.push_back(&a_oSession); }
    void leaveQueue(ClientSession& a_oSession) { m_lWaiting.remove(&a_oSession); }
    bool hasQueue() const { return !m_lWaiting.empty(); }
    /// Counts the bytes that a session of the user keeps. False when it keeps more than before and all
    /// sessions together, or those of the user, keep too much.
    bool keep(uid_t a_iUser, std::size_t a_iBefore, std::size_t a_iNow);
    /// Destroys the session.
    void closeSession(ClientSession& a_oSession);

private:
    struct Share
    {
        std::size_t m_iSessions = 0;
        std::size_t m_iKept = 0; // bytes of input and output
    };

    systema::net::EventDispatcher& m_oEventDispatcher;
    systema::ConfigDispatcher& m_oDispatcher;
    TurnQueue m_oTurns; // outlives the sessions
    const unsigned m_iFairness;
    const int m_iModule;
    std::unordered_map<const ClientSession*, std::unique_ptr<ClientSession>> m_mSessions;
    std::unordered_map<uid_t, Share> m_mShares; // of the users that have sessions
    std::list<ClientSession*> m_lWaiting;       // for a transaction, first come first
    std::array<char, c_iReadSize> m_aReadBuffer;
    std::string m_sWriteBuffer;
    const Clock::time_point m_oStart = Clock::now();
    unsigned m_iRequests = 0;
    std::size_t m_iKept = 0; // bytes of input and output of all sessions
};

} // namespace zel::cfg
