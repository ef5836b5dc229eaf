// One of the clients: connects, works at random, leaves in one of many ways, and comes back, until the run is
// over. It knows what its own rows must hold and compares.
//
// Used by one thread; what the daemon does wrong is counted as a fault.
#pragma once

#include "soak/ownrows.h"
#include "soak/random.h"
#include "soak/tables.h"
#include "soak/world.h"

#include <memory>
#include <string>
#include <vector>

namespace soak {

class Client
{
public:
    /// World and tables must outlive it.
    Client(World& a_oWorld, const std::vector<Table>& a_lTables, int a_iNumber, unsigned a_iSeed);

    void run();

private:
    enum class EEnd
    {
        Commit,
        Rollback,
        TimeOut,
        Disconnect
    };

    template<typename Request>
    systema::client::ResultOf<Request> ask(const std::string& a_sKind, const std::string& a_sOf,
                                           Codes a_iAllowed, const Request& a_oRequest);
    /// The same when nothing but the result matters.
    template<typename Request>
    void expect(const std::string& a_sKind, const std::string& a_sOf, Codes a_iAllowed,
                const Request& a_oRequest)
    {
        [[maybe_unused]] const auto oResult = ask(a_sKind, a_sOf, a_iAllowed, a_oRequest);
    }
    bool isConnected() const { return m_pConnection->isConnected(); }
    bool pause(std::chrono::milliseconds a_oMean);
    bool waitForChanges(std::chrono::milliseconds a_oTime, const char* a_pTable = nullptr);
    Journal::Activity activity(const std::string& a_sWhat);

    bool connect();
    void session();

    // Steps of a session.
    void askForTables();
    void askForSchema();
    void askForSize();
    void askForInfo();
    void readByPosition();
    void readByKey();
    void readInBulk();
    void checkRow();
    void changeAnyRow();
    void changeByPosition();
    void changeSettings();
    void changeTraceLevel();
    void askForNonsense();
    void subscribe();
    void unsubscribe();
    void changeAndBeTold();
    void commit() { transact(EEnd::Commit); }
    void rollBackTransaction() { transact(EEnd::Rollback); }
    void loseTransaction() { transact(EEnd::TimeOut); }

    // Ways to leave.
    void sayGoodbye();
    void leaveInRequest();
    void leaveBeforeAnswer();
    void leaveInBulkRead();
    void leaveInTransaction() { transact(EEnd::Disconnect); }
    void leaveQueued();
    void leaveSubscribed();
    void leaveOutputUnread();
    void leaveByMistake();
    void stayWithoutHello();

    struct Step
    {
        unsigned m_iWeight;
        void (Client::*m_pDo)();
    };
    static const Step c_aSteps[];
    static const Step c_aLeaves[];
    template<std::size_t Size>
    void doOne(const Step (&a_aFrom)[Size]);

    void check(OwnRow& a_oRow);
    bool change(OwnRow& a_oRow);
    void transact(EEnd a_eEnd);
    template<typename Request>
    void sendOnly(const Request& a_oRequest);
    void sendRaw(std::string_view a_sBytes);
    void awaitClose(int a_iSocket, Codes a_iAllowed, const char* a_pKind);
    systema::NameList randomColumns(const Table& a_oTable);
    std::string randomText();

    World& m_oWorld;
    const std::vector<Table>& m_lTables;
    const std::string m_sName;
    Random m_oRandom;
    std::vector<OwnRow> m_lRows;
    std::unique_ptr<Connection> m_pConnection;
    bool m_bSubscribed = false;
    bool m_bInTransaction = false;
};

} // namespace soak
