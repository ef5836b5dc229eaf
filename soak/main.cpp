// ledger-soak: runs a daemon under the load of many clients, of the network and of its operator, and reports
// what was done, whether everything came out as expected, how much memory it took and how long it stalled.
//
// Exits with 0 when all is well, 1 after any fault, 64 for wrong usage. script/soak starts and ends the
// daemon.

#include "bench/check.h"
#include "soak/attacker.h"
#include "soak/client.h"
#include "soak/disturbance.h"
#include "soak/memory.h"
#include "soak/probe.h"
#include "zel/systempath.h"

#include <CLI/CLI.hpp>

#include <deque>
#include <iomanip>
#include <iostream>
#include <thread>

namespace {

using namespace std::chrono_literals;
using soak::Clock;
using soak::request::Info;

constexpr int c_iUsageError = 64;
constexpr auto c_oStartTimeout = 30s;
constexpr auto c_oSettlingTime = 30s;
constexpr auto c_oSamplePeriod = 1s;
constexpr int c_iTransactionTimeoutSeconds = 2;
constexpr double c_fLongestMinutes = 1e6;
constexpr unsigned c_iAttackers = 8;
constexpr unsigned c_iOperator = 1000; // users of random numbers, beside the clients
constexpr unsigned c_iNetwork = 1001;
constexpr unsigned c_iFirstAttacker = 2000;

struct Options
{
    double m_fMinutes = 0;
    bool m_bStorm = false; // attackers in place of clients
    unsigned m_iSeed = 0;
    std::string m_sServices;
    pid_t m_iProcess = 0;
    std::string m_sLog;
};

/// Connects once the daemon is there.
void connect(soak::Connection& a_oConnection, const soak::Daemon& a_oDaemon)
{
    const auto oEnd = Clock::now() + c_oStartTimeout;
    auto oStatus = a_oConnection.connect();
    while (!oStatus.ok() && Clock::now() < oEnd && !a_oDaemon.waitForEnd(50ms)) {
        oStatus = a_oConnection.connect();
    }
    bench::check(oStatus);
}

void setTransactionTimeout(soak::Connection& a_oConnection)
{
    systema::ValueList lValues;
    lValues.add("DefaultTransactionTimeout",
                systema::Value(systema::EDataType::Integer, c_iTransactionTimeoutSeconds));
    bench::check(a_oConnection.call(soak::request::UpdateRow{"ConfigServerConfig", 0, lValues}));
}

/// What the daemon takes without other clients; after the load once it has noticed that they have gone, and
/// has saved what they changed, so that it holds no more descriptors than before.
soak::Usage idleUsage(soak::Connection& a_oConnection, const soak::Daemon& a_oDaemon, long a_iDescriptors)
{
    auto oUsage = a_oDaemon.usage();
    for (const auto oEnd = Clock::now() + c_oSettlingTime; Clock::now() < oEnd;
         std::this_thread::sleep_for(50ms)) {
        const auto oInfo = a_oConnection.call(Info{});
        oUsage = a_oDaemon.usage();
        if (!oInfo.ok() ||
            (oInfo->getValue("Clients").getUnsigned() == 1 && oUsage.m_iDescriptors <= a_iDescriptors)) {
            break;
        }
    }
    return oUsage;
}

/// The load. Returns when the time is over or the daemon has ended, which is the answer.
bool work(const Options& a_oOptions, soak::World& a_oWorld, const soak::Daemon& a_oDaemon,
          const std::vector<soak::Table>& a_lTables, soak::Memory& a_oMemory)
{
    std::deque<soak::Client> lClients;
    std::deque<soak::Attacker> lAttackers;
    std::vector<std::jthread> lThreads; // joined at the end
    const auto start = [&](auto& a_oOne) { lThreads.emplace_back([&a_oOne] { a_oOne.run(); }); };
    if (a_oOptions.m_bStorm) {
        for (unsigned i = 0; i < c_iAttackers; ++i) {
            start(lAttackers.emplace_back(a_oWorld, a_lTables,
                                          soak::Random(a_oOptions.m_iSeed, c_iFirstAttacker + i)));
        }
    } else {
        for (int i = 0; i < soak::c_iClients; ++i) {
            start(lClients.emplace_back(a_oWorld, a_lTables, i, a_oOptions.m_iSeed));
        }
    }
    lThreads.emplace_back([&] { operate(a_oWorld, soak::Random(a_oOptions.m_iSeed, c_iOperator)); });
    if (!a_oOptions.m_sServices.empty()) {
        lThreads.emplace_back([&] {
            changeNetwork(a_oWorld, soak::Random(a_oOptions.m_iSeed, c_iNetwork), a_oOptions.m_sServices);
        });
    }
    const auto oEnd = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                         std::chrono::duration<double>(60 * a_oOptions.m_fMinutes));
    bool bEnded = false;
    while (!bEnded && Clock::now() < oEnd) {
        bEnded = a_oDaemon.waitForEnd(c_oSamplePeriod);
        a_oMemory.sample(a_oDaemon);
    }
    a_oWorld.m_oStop.request_stop();
    return bEnded;
}

int run(const Options& a_oOptions)
{
    const soak::Daemon oDaemon(a_oOptions.m_iProcess, a_oOptions.m_sLog);
    soak::World oWorld{zel::systemPath("/tmp/ledgerd.socket")};
    soak::Connection oConnection({oWorld.m_sSocket, "soak", soak::c_oAnswerTimeout});
    connect(oConnection, oDaemon);
    auto lTables = soak::readTables(oConnection);
    if (a_oOptions.m_bStorm) { // ledger-restore brings its own tables back as it made them
        std::erase_if(lTables,
                      [](const auto& a_oTable) { return a_oTable.m_sName.starts_with("SchemaVersion"); });
    }
    setTransactionTimeout(oConnection);
    const auto oIdleBefore = oDaemon.usage();

    soak::Memory oMemory;
    soak::Probe oProbe(oWorld, oDaemon);
    const bool bEnded = work(a_oOptions, oWorld, oDaemon, lTables, oMemory);
    oProbe.join();
    oMemory.print(std::cout);
    if (!oMemory.isFlat()) {
        oWorld.m_oTally.fault("memory is not flat");
    }
    if (bEnded) {
        oWorld.m_oTally.fault("the daemon ended by itself");
    } else {
        settle(oWorld);
        const auto oIdleAfter = idleUsage(oConnection, oDaemon, oIdleBefore.m_iDescriptors);
        std::cout << "  without clients: " << oIdleBefore.m_iResidentKiB << " KiB and "
                  << oIdleBefore.m_iDescriptors << " descriptors before, " << oIdleAfter.m_iResidentKiB
                  << " KiB and " << oIdleAfter.m_iDescriptors << " after\n";
        if (oIdleAfter.m_iDescriptors > oIdleBefore.m_iDescriptors) {
            oWorld.m_oTally.fault("the daemon keeps descriptors");
        }
    }
    oProbe.print(std::cout);
    oWorld.m_oTally.print(std::cout);
    return oWorld.m_oTally.isGood() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int parseAndRun(int a_iArgc, char* a_pArgv[])
{
    CLI::App oApp("Runs ledgerd under load and reports how it fared.");
    Options oOptions;
    oApp.add_option("--seed", oOptions.m_iSeed, "chooses the same way as a run that printed this seed");
    oApp.add_flag("--storm", oOptions.m_bStorm,
                  "attackers in place of clients: odd requests, damaged frames, noise");
    oApp.add_option("--services", oOptions.m_sServices,
                    "the FIFO from which ledger-netsim takes its commands");
    oApp.add_option("minutes", oOptions.m_fMinutes, "how long")
        ->required()
        ->check(CLI::Range(0.0, c_fLongestMinutes));
    oApp.add_option("process", oOptions.m_iProcess, "the daemon's id")->required();
    oApp.add_option("log", oOptions.m_sLog, "where it logs to")->required();
    try {
        oApp.parse(a_iArgc, a_pArgv);
    } catch (const CLI::ParseError& oError) {
        return oApp.exit(oError) == EXIT_SUCCESS ? EXIT_SUCCESS : c_iUsageError;
    }
    return run(oOptions);
}

} // namespace

int main(int a_iArgc, char* a_pArgv[])
{
    try {
        return parseAndRun(a_iArgc, a_pArgv);
    } catch (const std::exception& oException) {
        std::cerr << "ledger-soak: " << oException.what() << std::endl;
        return EXIT_FAILURE;
    }
}
