#include "bench/check.h"
#include "bench/clients.h"
#include "bench/cpu.h"
#include "bench/echoclient.h"
#include "bench/echoserver.h"
#include "bench/ledger.h"
#include "bench/measurement.h"
#include "bench/requests.h"
#include "bench/sqlitetable.h"
#include "bench/testtable.h"

#include <memory>

namespace bench {

namespace {

constexpr int c_iRequests = 10000; // in a round
constexpr int c_iClients = 8;
constexpr std::size_t c_iInFlight = 16;
constexpr int c_iTransactions = 100;
constexpr int c_iUpdates = 100; // in a transaction
constexpr int c_iBulkReads = 20;
constexpr std::size_t c_iColumns = 8;

void get(Connection& a_oConnection, const TestTable& a_oTable, const std::string& a_sKey)
{
    const auto oRow = a_oConnection.call(selection(a_oTable, a_sKey));
    check(oRow);
    check(oRow->size() == c_iColumns, "a row lacks columns");
}

Outcome getByKey(const Effort& a_oEffort, const TestTable& a_oTable)
{
    const EchoServer oEcho;
    EchoClient oEchoClient(oEcho.socket());
    const Ledger oLedger(createDatabase);
    const auto pConnection = oLedger.connect();
    Keys oKeys(a_oTable);
    const int iTimes = a_oEffort.times(c_iRequests);
    return compare(
        a_oEffort, [&] { return medianTime(iTimes, [&] { oEchoClient.exchange(); }); },
        [&] { return medianTime(iTimes, [&] { get(*pConnection, a_oTable, oKeys.next()); }); });
}

Entry entry(const systema::client::RowView& a_oRow)
{
    const auto& lCells = a_oRow.m_lCells;
    const auto number = [&](std::size_t a_i) { return static_cast<int>(lCells[a_i].m_iNumber); };
    const auto text = [&](std::size_t a_i) { return std::string(lCells[a_i].m_sText); };
    return {number(0), text(1), number(2), number(3), number(4), text(5), text(6), text(7)};
}

// The vector is used again and again, for what it costs to make it grow says nothing.

void readAll(std::vector<Entry>& a_lEntries, Connection& a_oConnection)
{
    a_lEntries.clear();
    check(a_oConnection.readRows({.m_sTable = c_oLargeTable.m_pName},
                                 [&](const auto& a_oRow) { a_lEntries.push_back(entry(a_oRow)); }));
}

void readAll(std::vector<Entry>& a_lEntries, Sqlite::Statement& a_oSelect)
{
    a_lEntries.clear();
    while (a_oSelect.step()) {
        a_lEntries.push_back(a_oSelect.entry());
    }
}

Outcome compareBulkReads(const Effort& a_oEffort, const Ledger& a_oLedger)
{
    const DatabaseFiles oFiles;
    SqliteTable oTable(oFiles);
    const auto pConnection = a_oLedger.connect();
    std::vector<Entry> lEntries;
    std::vector<Entry> lSqliteEntries;
    readAll(lEntries, *pConnection);
    readAll(lSqliteEntries, oTable.selectAll());
    check(lEntries == lSqliteEntries, "a bulk read gives other rows than SQLite");
    const int iTimes = a_oEffort.times(c_iBulkReads);
    return compare(
        a_oEffort, [&] { return medianTime(iTimes, [&] { readAll(lSqliteEntries, oTable.selectAll()); }); },
        [&] { return medianTime(iTimes, [&] { readAll(lEntries, *pConnection); }); });
}

/// What a server could do at best that runs one SQLite statement for each request.
template<typename Work>
Outcome compareBareLoop(const Effort& a_oEffort, Work a_oWork)
{
    const EchoServer oEcho;
    const DatabaseFiles oFiles;
    const EchoServer oLoop([&]() -> EchoServer::Work {
        return [a_oWork, pTable = std::make_shared<SqliteTable>(oFiles)] { a_oWork(*pTable); };
    });
    EchoClient oEchoClient(oEcho.socket());
    EchoClient oLoopClient(oLoop.socket());
    const int iTimes = a_oEffort.times(c_iRequests);
    return compare(
        a_oEffort, [&] { return medianTime(iTimes, [&] { oEchoClient.exchange(); }); },
        [&] { return medianTime(iTimes, [&] { oLoopClient.exchange(); }); });
}

} // namespace

Outcome getSmall(const Effort& a_oEffort)
{
    return getByKey(a_oEffort, c_oSmallTable);
}

Outcome getLarge(const Effort& a_oEffort)
{
    return getByKey(a_oEffort, c_oLargeTable);
}

Outcome getByClients(const Effort& a_oEffort)
{
    const EchoServer oEcho;
    const Ledger oLedger(createDatabase);
    const int iTimes = a_oEffort.times(c_iRequests / c_iClients);
    const auto connectEcho = [&]() -> std::function<void()> {
        return [pClient = std::make_shared<EchoClient>(oEcho.socket())] { pClient->exchange(); };
    };
    const auto connectLedger = [&]() -> std::function<void()> {
        return [pConnection = std::shared_ptr(oLedger.connect()),
                pKeys = std::make_shared<Keys>(c_oLargeTable)] {
            get(*pConnection, c_oLargeTable, pKeys->next());
        };
    };
    return compare(
        a_oEffort, [&] { return timeOfClients(c_iClients, iTimes, connectEcho); },
        [&] { return timeOfClients(c_iClients, iTimes, connectLedger); });
}

Outcome getInFlight(const Effort& a_oEffort)
{
    const EchoServer oEcho;
    EchoClient oEchoClient(oEcho.socket());
    const Ledger oLedger(createDatabase);
    const auto pConnection = oLedger.connect();
    Keys oKeys(c_oLargeTable);
    const auto getBatch = [&] {
        std::size_t iGood = 0;
        for (std::size_t i = 0; i < c_iInFlight; ++i) {
            check(pConnection->submit<request::SelectKey>(
                selection(c_oLargeTable, oKeys.next()),
                [&](const auto& a_oRow) { iGood += a_oRow.ok() && a_oRow->size() == c_iColumns; }));
        }
        check(pConnection->wait());
        check(iGood == c_iInFlight, "a request in flight fails");
    };
    const int iTimes = a_oEffort.times(c_iRequests / static_cast<int>(c_iInFlight));
    return compare(
        a_oEffort,
        [&] { return medianTime(iTimes, [&] { oEchoClient.exchange(c_iInFlight); }) / c_iInFlight; },
        [&] { return medianTime(iTimes, getBatch) / c_iInFlight; });
}

Outcome update(const Effort& a_oEffort)
{
    const EchoServer oEcho;
    EchoClient oEchoClient(oEcho.socket());
    const Ledger oLedger(createDatabase);
    const auto pConnection = oLedger.connect();
    Keys oKeys(c_oLargeTable);
    int iWeight = 0;
    const int iTimes = a_oEffort.times(c_iRequests);
    return compare(
        a_oEffort, [&] { return medianTime(iTimes, [&] { oEchoClient.exchange(); }); },
        [&] {
            return medianTime(
                iTimes, [&] { check(pConnection->call(change(c_oLargeTable, oKeys.next(), ++iWeight))); });
        });
}

Outcome transaction(const Effort& a_oEffort)
{
    const DatabaseFiles oFiles;
    SqliteTable oTable(oFiles);
    const Ledger oLedger(createDatabase);
    const auto pConnection = oLedger.connect();
    Keys oKeys(c_oLargeTable);
    int iWeight = 0;
    const auto changeInLedger = [&] {
        int iGood = 0;
        const auto good = [&](const auto& a_oStatus) { iGood += a_oStatus.ok(); };
        check(pConnection->submit<request::Begin>({}, good));
        for (int i = 0; i < c_iUpdates; ++i) {
            check(pConnection->submit<request::UpdateKey>(change(c_oLargeTable, oKeys.next(), ++iWeight),
                                                          good));
        }
        check(pConnection->submit<request::Commit>({}, good));
        check(pConnection->wait());
        check(iGood == 1 + c_iUpdates + 1, "a transaction fails");
    };
    const int iTimes = a_oEffort.times(c_iTransactions);
    return compare(
        a_oEffort, [&] { return medianTime(iTimes, [&] { oTable.updateTogether(c_iUpdates); }); },
        [&] { return medianTime(iTimes, changeInLedger); });
}

Outcome bulkRead(const Effort& a_oEffort)
{
    return compareBulkReads(a_oEffort, Ledger(createDatabase));
}

Outcome bulkReadApart(const Effort& a_oEffort)
{
    const Ledger oLedger(createDatabase);
    pin(oLedger.pid(), allowedCpus().front());
    return compareBulkReads(a_oEffort, oLedger);
}

Outcome bareGet(const Effort& a_oEffort)
{
    return compareBareLoop(a_oEffort, [](SqliteTable& a_oTable) { a_oTable.get(); });
}

Outcome bareUpdate(const Effort& a_oEffort)
{
    return compareBareLoop(a_oEffort, [](SqliteTable& a_oTable) { a_oTable.update(); });
}

} // namespace bench
