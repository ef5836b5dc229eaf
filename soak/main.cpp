// ledger-soak: runs a daemon under the load of many clients, of the network and of its operator, and reports
// what was done, whether everything came out as expected, how much memory it took and how long it stalled.
//
// Exits with 0 when all is well, 1 after any fault, 64 for wrong usage. The surroundings are script/soak's.

#include "bench/check.h"
#include "soak/client.h"
#include "soak/disturbance.h"
#include "soak/memory.h"
#include "soak/probe.h"
#include "zel/systempath.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <deque>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <thread>

namespace {

using namespace std::chrono_literals;
using soak::Clock;
using soak::request::Info;

constexpr int c_iUsageError = 64;
constexpr auto c_oStartTimeout = 30s;
constexpr auto c_oStopTimeout = 60s; // two saves take at most that long
constexpr auto c_oSettlingTime = 30s;
constexpr auto c_oSamplePeriod = 1s;
constexpr int c_iTransactionTimeout = 2;
constexpr unsigned c_iOperator = 1000; // users of random numbers, beside the clients
constexpr unsigned c_iNetwork = 1001;

struct Options
{
    double m_fMinutes = 0;
    unsigned m_iSeed = 0;
    int m_iClients = 20;
    std::string m_sServices;
    std::string m_sLog;
    std::vector<std::string> m_lCommand;
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
    for (const char* pColumn : {"TransactionTimeout", "DefaultTransactionTimeout"}) {
        lValues.add(pColumn, systema::Value(systema::EDataType::Integer, c_iTransactionTimeout));
    }
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
    std::vector<std::thread> lThreads;
    for (int i = 1; i <= a_oOptions.m_iClients; ++i) {
        auto& oClient = lClients.emplace_back(a_oWorld, a_lTables, i, a_oOptions.m_iSeed);
        lThreads.emplace_back([&oClient] { oClient.run(); });
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
    a_oWorld.m_oStop.request();
    for (auto& oThread : lThreads) {
        oThread.join();
    }
    return bEnded;
}

/// Ends the daemon and looks at what it leaves.
void stop(soak::World& a_oWorld, soak::Daemon& a_oDaemon)
{
    const auto oStart = Clock::now();
    a_oDaemon.terminate();
    if (!a_oDaemon.waitForEnd(c_oStopTimeout)) {
        a_oWorld.m_oTally.fault("the daemon does not stop");
        return;
    }
    std::cout << "the daemon stopped within " << std::chrono::duration<double>(Clock::now() - oStart).count()
              << " s\n";
    if (!a_oDaemon.hasSucceeded()) {
        a_oWorld.m_oTally.fault("the daemon's status is not 0");
    }
    for (const char* pFile : {"/tmp/ledgerd.socket", "/tmp/ledgerd.fifo", "/var/run/ledgerd.pid"}) {
        if (std::filesystem::exists(zel::systemPath(pFile))) {
            a_oWorld.m_oTally.fault(std::string("the daemon leaves ") + pFile);
        }
    }
}

void printTail(const soak::Daemon& a_oDaemon)
{
    for (const auto& sLine : a_oDaemon.logTail()) {
        std::cout << "  " << sLine << '\n';
    }
}

int run(const Options& a_oOptions)
{
    std::cout << "soak: " << a_oOptions.m_fMinutes << " minutes, " << a_oOptions.m_iClients
              << " clients, seed " << a_oOptions.m_iSeed << std::endl;
    soak::Daemon oDaemon(a_oOptions.m_lCommand, a_oOptions.m_sLog);
    soak::World oWorld{zel::systemPath("/tmp/ledgerd.socket")};
    soak::Connection oConnection({oWorld.m_sSocket, "soak", soak::c_oAnswerTimeout});
    connect(oConnection, oDaemon);
    const auto lTables = soak::readTables(oConnection);
    setTransactionTimeout(oConnection);
    const auto oIdleBefore = oDaemon.usage();

    soak::Memory oMemory;
    bool bEnded = false;
    const auto oStart = Clock::now();
    soak::Probe oProbe(oWorld, oDaemon);
    bEnded = work(a_oOptions, oWorld, oDaemon, lTables, oMemory);
    oProbe.join();
    const double fSeconds = std::chrono::duration<double>(Clock::now() - oStart).count();
    if (bEnded) {
        std::cout << "the daemon ended by itself after " << fSeconds << " s; the end of its log:\n";
        printTail(oDaemon);
        oWorld.m_oTally.fault("the daemon ended by itself");
    }

    std::cout << std::fixed << std::setprecision(1);
    oWorld.m_oTally.print(std::cout);
    oMemory.print(std::cout);
    if (!oMemory.isFlat()) {
        oWorld.m_oTally.fault("memory is not flat");
    }
    if (!bEnded) {
        const auto oIdleAfter = idleUsage(oConnection, oDaemon, oIdleBefore.m_iDescriptors);
        const auto [fOwn, fChildren] = oDaemon.processorSeconds();
        std::cout << "  without clients: " << oIdleBefore.m_iResidentKiB << " KiB and "
                  << oIdleBefore.m_iDescriptors << " descriptors before, " << oIdleAfter.m_iResidentKiB
                  << " KiB and " << oIdleAfter.m_iDescriptors << " after\n"
                  << "processor: the daemon " << 100 * fOwn / fSeconds << " %, its commands "
                  << 100 * fChildren / fSeconds << " %, this program "
                  << 100 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC / fSeconds << " % of one\n";
        if (oIdleAfter.m_iDescriptors > oIdleBefore.m_iDescriptors) {
            oWorld.m_oTally.fault("the daemon keeps descriptors");
        }
    }
    oProbe.print(std::cout);
    oConnection.close();
    if (!bEnded) {
        stop(oWorld, oDaemon);
    }
    oWorld.m_oTally.printFaults(std::cout);
    return oWorld.m_oTally.isGood() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int parseAndRun(int a_iArgc, char* a_pArgv[])
{
    CLI::App oApp("Runs ledgerd under load and reports how it fared.");
    Options oOptions;
    oApp.add_option("--seed", oOptions.m_iSeed, "chooses the same way as a run that printed this seed");
    oApp.add_option("--clients", oOptions.m_iClients, "how many (20)")->check(CLI::Range(1, 200));
    oApp.add_option("--services", oOptions.m_sServices,
                    "the FIFO from which ledger-netsim takes its commands");
    oApp.add_option("minutes", oOptions.m_fMinutes, "how long")->required()->check(CLI::PositiveNumber);
    oApp.add_option("log", oOptions.m_sLog, "where what the daemon prints goes to")->required();
    oApp.add_option("command", oOptions.m_lCommand, "the daemon")->required();
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
