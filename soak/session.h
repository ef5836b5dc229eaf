// What one client does over its connection: each result is counted, and one that should not be is a fault.
//
// Used by one thread. After a fault it goes on, with the connection or without it.
#pragma once

#include "soak/random.h"
#include "soak/world.h"

#include <chrono>
#include <memory>
#include <string>

namespace soak {

constexpr Codes c_iOk = oneOf(EResultCode::Success);
/// Writes and begins outside of a transaction: another client has one, or the operator has locked.
constexpr Codes c_iRefused = oneOf(EResultCode::Busy, EResultCode::Locked);
constexpr Codes c_iLost = oneOf(EResultCode::Failure);

class Session
{
public:
    /// The world must outlive it.
    Session(World& a_oWorld, std::string a_sName, Random a_oRandom);

    /// Makes a connection, in place of an earlier one. False when it failed; nothing but this may follow
    /// then.
    bool connect();
    Connection& connection() { return *m_pConnection; }
    bool isConnected() const { return m_pConnection->isConnected(); }
    World& world() { return m_oWorld; }
    Random& random() { return m_oRandom; }

    /// Makes a request of some kind, on something. The codes are those that the result may have outside of a
    /// transaction.
    template<typename Request>
    systema::client::ResultOf<Request> ask(const std::string& a_sKind, const std::string& a_sOf,
                                           Codes a_iAllowed, const Request& a_oRequest)
    {
        auto oResult = m_pConnection->call(a_oRequest);
        // In a transaction nobody is in the way, but it may be lost at any moment.
        const Codes iAllowed = m_bInTransaction ? (a_iAllowed & ~c_iRefused) | c_iLost : a_iAllowed;
        count(a_sKind, oResult, iAllowed, a_sOf);
        return oResult;
    }
    /// The same when nothing but the result matters.
    template<typename Request>
    void expect(const std::string& a_sKind, const std::string& a_sOf, Codes a_iAllowed,
                const Request& a_oRequest)
    {
        [[maybe_unused]] const auto oResult = ask(a_sKind, a_sOf, a_iAllowed, a_oRequest);
    }
    void setInTransaction(bool a_bInTransaction) { m_bInTransaction = a_bInTransaction; }

    /// False when that failed.
    bool subscribe(const systema::NameList& a_lTables, bool a_bTellAtOnce = false);
    void unsubscribe();
    /// Pauses for about so long and takes what the daemon tells meanwhile. False when the run is over.
    bool pause(std::chrono::milliseconds a_oMean);
    /// Takes what the daemon tells, until the time is over or the table was told. False when the run is over.
    bool waitForChanges(std::chrono::milliseconds a_oTime, const char* a_pTable = nullptr);

    void count(const std::string& a_sKind) { m_oWorld.m_oTally.count(a_sKind); }
    void count(const std::string& a_sKind, const Status& a_oStatus, Codes a_iAllowed,
               const std::string& a_sOf = {});
    void fault(const std::string& a_sWhat) { m_oWorld.m_oTally.fault(m_sName + ": " + a_sWhat); }

private:
    World& m_oWorld;
    const std::string m_sName;
    Random m_oRandom;
    std::unique_ptr<Connection> m_pConnection;
    bool m_bSubscribed = false;
    bool m_bInTransaction = false;
};

} // namespace soak
