#include "bench/check.h"
#include "bench/ledger.h"
#include "bench/measurement.h"
#include "bench/requests.h"
#include "storage/databasefiles.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace bench {

namespace {

constexpr int c_iDumps = 30; // of all persistent databases, each after one by hand
constexpr int c_iRows = 1000;

const std::vector<std::string>& databases()
{
    static const std::vector<std::string> s_lNames = [] {
        std::vector<std::string> lNames;
        for (const auto& oFile : systema::c_aDatabaseFiles) {
            if (oFile.m_bPersistent) {
                lNames.emplace_back(oFile.m_pName);
            }
        }
        return lNames;
    }();
    return s_lNames;
}

/// Makes the persistent databases: the first with the table that is read, the others with one of their own.
void createDatabases(const std::filesystem::path& a_oDirectory, const TestTable& a_oFirst)
{
    createTables(a_oDirectory / databases().front(), {a_oFirst});
    for (std::size_t i = 1; i < databases().size(); ++i) {
        const std::string sTable = "BenchDump" + std::to_string(i);
        createTables(a_oDirectory / databases()[i], {{sTable.c_str(), c_iRows}});
    }
}

std::filesystem::path dumpFile(const std::filesystem::path& a_oDirectory, const std::string& a_sDatabase)
{
    return a_oDirectory / (a_sDatabase + ".sql");
}

std::string content(const std::filesystem::path& a_oFile)
{
    std::ifstream oFile(a_oFile, std::ios::binary);
    return {std::istreambuf_iterator(oFile), {}};
}

/// In milliseconds.
double timeByHand(const std::filesystem::path& a_oDirectory)
{
    const auto oStart = Clock::now();
    for (const auto& sDatabase : databases()) {
        const std::string sCommand = "sqlite3 " + (a_oDirectory / sDatabase).string() + " \".dump\" > " +
                                     dumpFile(a_oDirectory, sDatabase).string();
        check(std::system(sCommand.c_str()) == 0, "the sqlite3 shell fails");
    }
    return microsecondsSince(oStart) / 1000;
}

/// Has the databases dumped while a client reads row after row, and returns the longest time between two
/// replies, in milliseconds.
double longestWait(const Ledger& a_oLedger, Connection& a_oConnection, const TestTable& a_oTable,
                   Keys& a_oKeys)
{
    const auto oLastDump = dumpFile(a_oLedger.path(), databases().back());
    std::filesystem::remove(oLastDump);
    double fLongest = 0;
    auto oLastReply = Clock::now();
    const auto get = [&] {
        check(a_oConnection.call(selection(a_oTable, a_oKeys.next())));
        fLongest = std::max(fLongest, microsecondsSince(oLastReply) / 1000);
        oLastReply = Clock::now();
    };
    a_oLedger.command("dump -p");
    while (!std::filesystem::exists(oLastDump)) {
        get();
    }
    get(); // answered when that dump is complete, for the daemon does nothing else meanwhile
    return fLongest;
}

Outcome compareDumps(const Effort& a_oEffort, const TestTable& a_oTable)
{
    const Workspace oFiles;
    createDatabases(oFiles.path(), a_oTable);
    const Ledger oLedger([&](const auto& a_oDirectory) { createDatabases(a_oDirectory, a_oTable); });
    const auto pConnection = oLedger.connect();
    Keys oKeys(a_oTable);
    const Outcome oOutcome = compare(
        {a_oEffort.times(c_iDumps), 1}, [&] { return timeByHand(oFiles.path()); },
        [&] { return longestWait(oLedger, *pConnection, a_oTable, oKeys); });
    for (const auto& sDatabase : databases()) {
        check(content(dumpFile(oLedger.path(), sDatabase)) == content(dumpFile(oFiles.path(), sDatabase)),
              "the daemon's dump of " + sDatabase + " is another than that by hand");
    }
    return oOutcome;
}

} // namespace

Outcome dumpSmall(const Effort& a_oEffort)
{
    return compareDumps(a_oEffort, {"BenchDump", c_iRows});
}

Outcome dumpLarge(const Effort& a_oEffort)
{
    return compareDumps(a_oEffort, c_oLargeTable);
}

} // namespace bench
