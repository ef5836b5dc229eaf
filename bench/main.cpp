// ledger_bench: speed and size of ledgerd, beside what an echo server and SQLite alone would need.
//
// Exits with 0 whatever the figures are, 64 for wrong usage and 1 when a figure could not be had.

#include "bench/check.h"
#include "bench/cpu.h"
#include "bench/measurement.h"
#include "bench/report.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

namespace {

using bench::EGoal;
using bench::EStatusTable;

constexpr bench::Effort c_oFullEffort{7, 1};
constexpr bench::Effort c_oQuickEffort{1, 20};
constexpr int c_iUsageError = 64;

template<EStatusTable Table, int Rows>
constexpr bench::Measurement readOf(const char* a_pName, const char* a_pWhat)
{
    // Who reads StatusNetifWatch is given what the kernel counts at that moment.
    const bool bInMemory = Table != EStatusTable::StatusNetifWatch;
    const EGoal eGoal = bInMemory ? EGoal::Ratio : EGoal::None;
    return {a_pName, a_pWhat, "us", "stored", eGoal, 1.5, bench::readStatus<Table, Rows>};
}

constexpr bench::Measurement c_aMeasurements[] = {
    {"get-100", "get by key, 100 rows", "us", "echo", EGoal::Ratio, 1.6, bench::getSmall},
    {"get-10000", "get by key, 10,000 rows", "us", "echo", EGoal::Ratio, 1.6, bench::getLarge},
    {"get-clients", "get by key, 8 clients", "us", "echo", EGoal::Ratio, 1.6, bench::getByClients},
    {"get-in-flight", "get by key, 16 in flight", "us", "echo", EGoal::Ratio, 1.5, bench::getInFlight},
    {"update", "update by key, own commit", "us", "echo", EGoal::Ratio, 2.0, bench::update},
    {"bare-get", "bare SQLite loop: get by key", "us", "echo", EGoal::None, 0, bench::bareGet},
    {"bare-update", "bare SQLite loop: update, own commit", "us", "echo", EGoal::None, 0, bench::bareUpdate},
    {"transaction", "transaction of 100 updates", "us", "SQLite", EGoal::Ratio, 1.3, bench::transaction},
    {"bulk-read", "bulk read of 10,000 rows", "us", "SQLite", EGoal::Ratio, 1.0, bench::bulkRead},
    {"bulk-read-apart", "the same, server on another CPU", "us", "SQLite", EGoal::None, 0,
     bench::bulkReadApart},
    {"view-read-1000", "bulk read of a view of 1,000 rows", "us", "SQLite", EGoal::None, 0,
     bench::readView<1000, true>},
    {"view-read-10000", "the same, 10,000 rows", "us", "SQLite", EGoal::Ratio, 3.0,
     bench::readView<10000, true>},
    {"view-read-unindexed", "the same, no index", "us", "SQLite", EGoal::Ratio, 3.0,
     bench::readView<10000, false>},
    {"notify-1", "change to notification, 1 subscriber", "ms", "window", EGoal::Value, 11, bench::notifyOne},
    {"notify-100", "the same, 100 subscribers", "ms", "window", EGoal::Value, 12, bench::notifyHundred},
    {"ticks", "ticks under 8 busy clients", "s", "", EGoal::Value, 2.1, bench::ticksUnderLoad},
    {"ticks-transaction", "the same, a transaction open", "s", "", EGoal::Value, 2.1,
     bench::ticksInTransaction},
    {"status-update-unchanged", "status update, 8 devices, nothing changed", "us", "kernel", EGoal::None, 0,
     bench::updateUnchanged},
    {"status-update-changed", "the same, all changed", "us", "kernel, bus", EGoal::None, 0,
     bench::updateChanged},
    {"status-signals", "updates for 1,000 signals", "us", "libdbus", EGoal::None, 0, bench::signalBurst},
    readOf<EStatusTable::NetifCounter, 10>("status-counter-10", "a row of NetifCounter, 10 rows"),
    readOf<EStatusTable::NetifCounter, 100>("status-counter-100", "the same, 100 rows"),
    readOf<EStatusTable::NetifCounter, 1000>("status-counter-1000", "the same, 1,000 rows"),
    readOf<EStatusTable::StatusNetifWatch, 10>("status-watch-10", "a row of StatusNetifWatch, 10 rows"),
    readOf<EStatusTable::StatusNetifWatch, 100>("status-watch-100", "the same, 100 rows"),
    readOf<EStatusTable::StatusNetifWatch, 1000>("status-watch-1000", "the same, 1,000 rows"),
    readOf<EStatusTable::RouteIPv4, 10>("status-routes-10", "a row of RouteIPv4, 10 rows"),
    readOf<EStatusTable::RouteIPv4, 100>("status-routes-100", "the same, 100 rows"),
    readOf<EStatusTable::DhcpLeases, 10>("status-leases-10", "a row of DhcpLeases, 10 rows"),
    readOf<EStatusTable::DhcpLeases, 100>("status-leases-100", "the same, 100 rows"),
    readOf<EStatusTable::DhcpLeases, 1000>("status-leases-1000", "the same, 1,000 rows"),
    readOf<EStatusTable::StatusNetIfIPv6Addresses, 10>("status-ipv6-10",
                                                       "a row of StatusNetIfIPv6Addresses, 10 rows"),
    readOf<EStatusTable::StatusNetIfIPv6Addresses, 100>("status-ipv6-100", "the same, 100 rows"),
    readOf<EStatusTable::StatusNetIfIPv6Addresses, 1000>("status-ipv6-1000", "the same, 1,000 rows"),
    {"status-connections", "bulk read of 20,000 connections", "ms", "split", EGoal::Ratio, 3.0,
     bench::readConnections},
    {"dump-1000", "wait for a dump, 7 x 1,000 rows", "ms", "by hand", EGoal::Ratio, 1.1, bench::dumpSmall},
    {"dump-10000", "the same, one of 10,000 rows", "ms", "by hand", EGoal::Ratio, 1.1, bench::dumpLarge},
    {"memory-factory", "resident memory, factory data", "KiB", "", EGoal::Value, 8 * 1024,
     bench::factoryMemory},
    {"memory-rows", "the same, 10,000 rows read", "KiB", "", EGoal::Value, 10 * 1024, bench::tableMemory},
    {"memory-connection", "the same, an idle connection", "KiB", "", EGoal::Value, 2,
     bench::connectionMemory},
    {"start", "start to first answer, 10,000 rows", "ms", "", EGoal::Value, 15, bench::start},
};

constexpr const char* c_pNotes = R"(
Medians of the rounds' medians; limit and ours take turns. Client, server and limits share one CPU unless said,
and the databases are in RAM if there is a file system for that. The key is a unique text. With 8 clients
(processes) and 16 requests in flight: time of one request.
echo: 64 bytes to a single-threaded epoll server on a Unix socket and 128 back, a send for each. bare SQLite
loop: the same with one prepared statement run for each request. SQLite: in this process, with the daemon's
pragmas and prepared statements; both sides of a bulk read put every row into the same struct of ints and
std::strings. window: the 10 ms for which the daemon gathers changes. kernel, bus: the same questions asked
directly. libdbus: a receiver of an equal burst that does nothing else. stored: as many rows with the same cells in
a stored table. split: the kernel's list read and split at its spaces. by hand: the same commands of the sqlite3
shell on such files that nobody else uses; ours is the longest time without a reply to a client that reads all the
while.
)";

bool isWanted(const std::string& a_sName, const std::vector<std::string>& a_lOnly)
{
    return a_lOnly.empty() ||
           std::ranges::any_of(a_lOnly, [&](const auto& a_sStart) { return a_sName.starts_with(a_sStart); });
}

std::vector<bench::Result> measure(const std::vector<std::string>& a_lOnly, const bench::Effort& a_oEffort)
{
    std::vector<bench::Result> lResults;
    for (const auto& oMeasurement : c_aMeasurements) {
        if (isWanted(oMeasurement.m_pName, a_lOnly)) {
            std::cerr << oMeasurement.m_pName << std::endl;
            try {
                lResults.push_back({&oMeasurement, oMeasurement.m_pMeasure(a_oEffort)});
            } catch (const bench::Skipped& oReason) {
                std::cerr << oMeasurement.m_pName << ": skipped: " << oReason.what() << std::endl;
            }
        }
    }
    return lResults;
}

int run(int a_iArgc, char* a_pArgv[])
{
    CLI::App oApp("Measures speed and size of ledgerd.");
    bool bQuick = false;
    bool bJson = false;
    bool bMarkdown = false;
    std::vector<std::string> lOnly;
    oApp.add_flag("--quick", bQuick, "measure little, to see whether it works");
    oApp.add_flag("--markdown", bMarkdown, "print the table as Markdown");
    oApp.add_flag("--json", bJson, "print the results as JSON")->excludes("--markdown");
    oApp.add_option("--only", lOnly, "measure only what has a name that starts so; may be given again");
    try {
        oApp.parse(a_iArgc, a_pArgv);
    } catch (const CLI::ParseError& oError) {
        return oApp.exit(oError) == EXIT_SUCCESS ? EXIT_SUCCESS : c_iUsageError;
    }
    bench::pin(0, bench::allowedCpus().back());
    const auto lResults = measure(lOnly, bQuick ? c_oQuickEffort : c_oFullEffort);
    using bench::EFormat;
    const auto eFormat = bJson ? EFormat::Json : bMarkdown ? EFormat::Markdown : EFormat::Table;
    bench::print(std::cout, lResults, eFormat);
    std::cout << (bJson ? "" : c_pNotes) << std::flush;
    return EXIT_SUCCESS;
}

} // namespace

int main(int a_iArgc, char* a_pArgv[])
{
    try {
        return run(a_iArgc, a_pArgv);
    } catch (const std::exception& oException) {
        std::cerr << "ledger_bench: " << oException.what() << std::endl;
        return EXIT_FAILURE;
    }
}
