#include "bench/check.h"
#include "bench/childprocess.h"
#include "bench/ledger.h"
#include "bench/measurement.h"
#include "bench/requests.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace bench {

namespace {

constexpr int c_iClients = 8;
constexpr int c_iTicks = 4;                      // waited for in a round
constexpr std::chrono::milliseconds c_oPause{3}; // of a client between two requests: no pass is quiet or full
constexpr std::chrono::microseconds c_oLook{500}; // between two looks at what a tick does
constexpr auto c_oLongestWait = std::chrono::seconds(20);

/// Requests of one client without an end.
int poll(const Ledger& a_oLedger)
{
    const auto pConnection = a_oLedger.connect();
    Keys oKeys(c_oSmallTable);
    for (;;) {
        check(pConnection->call(selection(c_oSmallTable, oKeys.next())));
        std::this_thread::sleep_for(c_oPause);
    }
}

request::UpdateRow clockSetting(int a_iTime)
{
    systema::ValueList lValues;
    lValues.add("Time", systema::Value(systema::EDataType::Integer, a_iTime));
    return {.m_sTable = "SystemTime", .m_iPosition = 0, .m_lValues = std::move(lValues)};
}

/// The longest time from the reply to a written clock to the tick that sets it, in seconds.
Outcome longestWait(const Effort& a_oEffort, bool a_bInTransaction)
{
    const Ledger oLedger([](const auto& a_oDirectory) {
        createDatabase(a_oDirectory);
        std::filesystem::create_directories(a_oDirectory.parent_path() / "var/run");
    });
    const auto pConnection = oLedger.connect();
    std::vector<ChildProcess> lClients;
    lClients.reserve(c_iClients);
    for (int i = 0; i < c_iClients; ++i) {
        lClients.emplace_back([&] { return poll(oLedger); });
    }
    if (a_bInTransaction) {
        systema::ValueList lTimeout;
        lTimeout.add("TransactionTimeout", systema::Value(systema::EDataType::Integer, 3600));
        check(pConnection->call(request::UpdateRow{
            .m_sTable = "ConfigServerConfig", .m_iPosition = 0, .m_lValues = std::move(lTimeout)}));
        check(pConnection->call(request::Begin{}));
    }
    int iTime = 1'000'000'000;
    const auto timeToTick = [&] {
        const std::string sTime = std::to_string(++iTime);
        check(pConnection->call(clockSetting(iTime)));
        const auto oReplied = Clock::now();
        std::string sSet;
        while (sSet != sTime) {
            check(Clock::now() - oReplied < c_oLongestWait, "there is no tick");
            std::this_thread::sleep_for(c_oLook);
            std::ifstream(oLedger.path() / "var/run/ledgerd-clock") >> sSet;
        }
        return microsecondsSince(oReplied) / 1'000'000;
    };
    double fLongest = 0;
    for (int i = 0; i < a_oEffort.m_iRounds * c_iTicks; ++i) {
        fLongest = std::max(fLongest, timeToTick());
    }
    return {{}, fLongest};
}

} // namespace

Outcome ticksUnderLoad(const Effort& a_oEffort)
{
    return longestWait(a_oEffort, false);
}

Outcome ticksInTransaction(const Effort& a_oEffort)
{
    return longestWait(a_oEffort, true);
}

} // namespace bench
