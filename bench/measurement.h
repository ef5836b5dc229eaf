// What is measured, how much of it, and what came out.
#pragma once

#include "bench/stopwatch.h"

#include <optional>
#include <string_view>
#include <vector>

namespace bench {

/// How much is measured.
struct Effort
{
    int m_iRounds;  // of limit and measured thing in turn
    int m_iDivisor; // of the work in a round

    int times(int a_iFull) const { return std::max(1, a_iFull / m_iDivisor); }
};

struct Outcome
{
    std::optional<double> m_oLimit;
    double m_fOurs;
};

/// What a goal bounds.
enum class EGoal
{
    None,
    Ratio, // to the limit
    Value
};

struct Measurement
{
    const char* m_pName;
    const char* m_pWhat;
    const char* m_pUnit;
    const char* m_pLimit; // what the limit is, empty when there is none
    EGoal m_eGoal;
    double m_fGoal; // at most
    Outcome (*m_pMeasure)(const Effort&);
};

/// Measures one thing and its limit in turn, so that whatever else the machine does hits both alike, and
/// gives the medians of the rounds.
template<typename Limit, typename Ours>
Outcome compare(const Effort& a_oEffort, Limit a_iLimit, Ours a_sOurs)
{
    std::vector<double> lLimits;
    std::vector<double> lOurs;
    lLimits.reserve(static_cast<std::size_t>(a_oEffort.m_iRounds));
    lOurs.reserve(static_cast<std::size_t>(a_oEffort.m_iRounds));
    for (int i = 0; i < a_oEffort.m_iRounds; ++i) {
        lLimits.push_back(a_iLimit());
        lOurs.push_back(a_sOurs());
    }
    return {median(std::move(lLimits)), median(std::move(lOurs))};
}

/// The same without a limit.
template<typename Ours>
Outcome repeat(const Effort& a_oEffort, Ours a_sOurs)
{
    std::vector<double> lOurs;
    lOurs.reserve(static_cast<std::size_t>(a_oEffort.m_iRounds));
    for (int i = 0; i < a_oEffort.m_iRounds; ++i) {
        lOurs.push_back(a_sOurs());
    }
    return {{}, median(std::move(lOurs))};
}

// Times are in microseconds unless said.

/// One row, all columns, by its key; one request after the other.
Outcome getSmall(const Effort& a_oEffort);
Outcome getLarge(const Effort& a_oEffort);
/// The same with eight clients at once, and with sixteen requests of one client at once: time of one request.
Outcome getByClients(const Effort& a_oEffort);
Outcome getInFlight(const Effort& a_oEffort);
/// One column by key, each update with its own commit.
Outcome update(const Effort& a_oEffort);
/// A hundred of these in one batch and one transaction.
Outcome transaction(const Effort& a_oEffort);
/// All rows of the large table; client and daemon on one processor, and on one each.
Outcome bulkRead(const Effort& a_oEffort);
Outcome bulkReadApart(const Effort& a_oEffort);

/// All rows of a view of so many, beside SQLite's own join. Rows are looked up by "Id" or by "Code", which
/// has no index.
Outcome readView(int a_iRows, const char* a_pColumn, const Effort& a_oEffort);
template<int Rows, bool Indexed>
Outcome readView(const Effort& a_oEffort)
{
    return readView(Rows, Indexed ? "Id" : "Code", a_oEffort);
}

/// For comparison: an echo server that runs one prepared SQLite statement for each request.
Outcome bareGet(const Effort& a_oEffort);
Outcome bareUpdate(const Effort& a_oEffort);

/// From the reply to an update to the last subscriber's event, in milliseconds.
Outcome notifyOne(const Effort& a_oEffort);
Outcome notifyHundred(const Effort& a_oEffort);
/// The longest wait for a tick while eight clients send requests, and with a transaction open, in seconds.
Outcome ticksUnderLoad(const Effort& a_oEffort);
Outcome ticksInTransaction(const Effort& a_oEffort);
/// From the start of the process to the first answer, in milliseconds.
Outcome start(const Effort& a_oEffort);

/// How long a client waits while the daemon dumps the seven persistent databases of 1,000 rows each, and with
/// 10,000 rows in one of them, in milliseconds.
Outcome dumpSmall(const Effort& a_oEffort);
Outcome dumpLarge(const Effort& a_oEffort);

/// One update of the live-status tables, of eight devices: with nothing changed, and with a signal about
/// each.
Outcome updateUnchanged(const Effort& a_oEffort);
Outcome updateChanged(const Effort& a_oEffort);
/// The updates that it takes to count a burst of 1,000 signals.
Outcome signalBurst(const Effort& a_oEffort);
/// A row of a bulk read of a live-status table, beside the same rows of a stored table.
enum class EStatusTable
{
    NetifCounter,
    StatusNetifWatch,
    RouteIPv4,
    DhcpLeases,
    StatusNetIfIPv6Addresses
};
Outcome readStatus(EStatusTable a_eTable, int a_iRows, const Effort& a_oEffort);
template<EStatusTable Table, int Rows>
Outcome readStatus(const Effort& a_oEffort)
{
    return readStatus(Table, Rows, a_oEffort);
}

/// The first bulk read of 20,000 connections, in milliseconds.
Outcome readConnections(const Effort& a_oEffort);

/// Resident memory with the factory's data; with a table read as a whole; of one idle connection, in KiB.
Outcome factoryMemory(const Effort& a_oEffort);
Outcome tableMemory(const Effort& a_oEffort);
Outcome connectionMemory(const Effort& a_oEffort);

} // namespace bench
