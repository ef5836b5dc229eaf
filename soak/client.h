// One of the clients: connects, works at random, leaves in one of many ways, and comes back, until the run is
// over. It knows what its own rows must hold and compares.
//
// Used by one thread; what the daemon does wrong is counted as a fault.
#pragma once

#include "soak/ownrows.h"
#include "soak/session.h"
#include "soak/tables.h"

#include <string>
#include <utility>
#include <vector>

namespace soak {

/// So many there are; together they do each thing once at first.
constexpr int c_iClients = 20;

class Client : private Session
{
public:
    /// World and tables must outlive it. The numbers of the clients begin with 0.
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
    using Step = void (Client::*)();
    static const std::pair<unsigned, Step> c_aSteps[]; // and how often each is done

    void work();

    void askAround();
    void readByPosition();
    void readByKey();
    void readInBulk();
    void checkRow();
    void changeAnyRow();
    void changeByPosition();
    void deleteAll();
    void changeSettings();
    void askForNonsense();
    void subscribeToSome();
    void changeAndBeTold();
    void commit() { transact(EEnd::Commit); }
    void rollBackTransaction() { transact(EEnd::Rollback); }
    void loseTransaction() { transact(EEnd::TimeOut); }
    void leaveTransaction() { transact(EEnd::Disconnect); }

    bool change(OwnRow& a_oRow);
    void transact(EEnd a_eEnd);
    systema::NameList randomColumns(const Table& a_oTable);
    std::string randomText();

    const std::vector<Table>& m_lTables;
    const std::size_t m_iNumber;
    std::vector<OwnRow> m_lRows;
};

} // namespace soak
