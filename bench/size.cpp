#include "bench/check.h"
#include "bench/ledger.h"
#include "bench/measurement.h"
#include "bench/requests.h"

#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace bench {

namespace {

constexpr std::size_t c_iConnections = 500;

void fillWithFactoryData(const std::filesystem::path& a_oDirectory)
{
    ChildProcess oRestore([&] {
        ::dup2(::open("/dev/null", O_WRONLY), STDOUT_FILENO);
        return ::execl(LEDGER_RESTORE_BINARY, LEDGER_RESTORE_BINARY, "--factory-directory", LEDGERD_FACTORY,
                       "--store-directory", a_oDirectory.c_str(), "--database-directory",
                       a_oDirectory.c_str(), nullptr);
    });
    check(oRestore.wait(), "ledger-restore failed");
}

std::unique_ptr<Connection> connectAndPing(const Ledger& a_oLedger)
{
    auto pConnection = a_oLedger.connect();
    check(pConnection->call(request::Ping()));
    return pConnection;
}

} // namespace

Outcome factoryMemory(const Effort& a_oEffort)
{
    return repeat(a_oEffort, [] {
        const Ledger oLedger(fillWithFactoryData);
        connectAndPing(oLedger);
        return oLedger.residentKiB();
    });
}

Outcome tableMemory(const Effort& a_oEffort)
{
    return repeat(a_oEffort, [] {
        const Ledger oLedger(createDatabase);
        const auto pConnection = oLedger.connect();
        int iRows = 0;
        check(pConnection->readRows({.m_sTable = c_oLargeTable.m_pName}, [&](const auto&) { ++iRows; }));
        check(iRows == c_oLargeTable.m_iRows, "a bulk read lacks rows");
        return oLedger.residentKiB();
    });
}

Outcome connectionMemory(const Effort& a_oEffort)
{
    return repeat(a_oEffort, [] {
        const Ledger oLedger(createDatabase);
        const auto pFirst = connectAndPing(oLedger);
        const double fBefore = oLedger.residentKiB();
        std::vector<std::unique_ptr<Connection>> lConnections;
        for (std::size_t i = 0; i < c_iConnections; ++i) {
            lConnections.push_back(connectAndPing(oLedger));
        }
        return (oLedger.residentKiB() - fBefore) / c_iConnections;
    });
}

Outcome start(const Effort& a_oEffort)
{
    return repeat(a_oEffort, [] {
        const Ledger oLedger(createDatabase);
        const auto pConnection = oLedger.connect();
        Keys oKeys(c_oLargeTable);
        check(pConnection->call(selection(c_oLargeTable, oKeys.next())));
        return microsecondsSince(oLedger.startTime()) / 1000;
    });
}

} // namespace bench
