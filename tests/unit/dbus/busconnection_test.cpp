// Buses that stop answering at some point: how long the loop waits for them, and what becomes of it.
#include "dbus/busconnection.h"

#include "dbus/dnsmasqdbusproxy.h"
#include "dbus/interfacestatusdbusproxy.h"
#include "dbus/systembus.h"
#include "tests/hostilebus.h"
#include "tests/logof.h"
#include "tests/privatebus.h"
#include "tests/unit/zel/tempdir.h"

#include <gmock/gmock.h>

#include <deque>
#include <functional>
#include <optional>

using namespace std::chrono_literals;
using tests::HostileBus;
using Clock = std::chrono::steady_clock;

namespace {

constexpr auto c_oMostInATick = zel::WaitTime::c_oMostBefore + zel::WaitTime::c_oLongest;
constexpr auto c_oBusyMachine = 400ms; // more than that is a fault

class BusThatHangs : public testing::TestWithParam<HostileBus::EUpTo>
{
protected:
    static Clock::duration timeOf(const std::function<void()>& a_oFunction)
    {
        const auto oBegin = Clock::now();
        a_oFunction();
        return Clock::now() - oBegin;
    }
    std::string socket() const { return m_oDirectory.file("bus"); }

    const TempDir m_oDirectory;
    Clock::time_point m_oNow;
};

TEST_P(BusThatHangs, ATickWaitsHalfASecondAtMostAndTheNextBusIsUsed)
{
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + socket()).c_str(), 1);
    std::optional<HostileBus> oHostile(std::in_place, socket(), GetParam());
    std::optional<zel::SystemBus> oBus;
    // Their matches are more than a socket holds when a bus does not read, and fewer than a bus admits.
    std::deque<zel::InterfaceStatusDBusProxy> lProxies;
    EXPECT_LT(timeOf([&] {
                  oBus.emplace([this] { return m_oNow; });
                  for (int i = 0; i < 250; ++i) {
                      lProxies.emplace_back(*oBus);
                  }
              }),
              c_oMostInATick + c_oBusyMachine);
    zel::DnsMasqDBusProxy oDnsMasq(*oBus);
    bool bDone = false;
    for (int i = 0; i < 4; ++i) {
        EXPECT_LT(timeOf([&] {
                      oBus->iterate();
                      for (auto& oProxy : lProxies) {
                          EXPECT_FALSE(oProxy.GetLinkStatusForDevice("eth0", bDone).isDone());
                      }
                      EXPECT_FALSE(oDnsMasq.DumpCache(bDone).isDone());
                  }),
                  c_oMostInATick + c_oBusyMachine);
        m_oNow += zel::SystemBus::c_oReconnectWait;
    }
    oHostile.reset(); // with whatever it has not read
    oBus->iterate();
    m_oNow += zel::SystemBus::c_oReconnectWait;

    tests::PrivateBus oGood(socket());
    oGood.start();
    EXPECT_EQ("info SystemBus Connected to the system bus\n", logOf([&] { oBus->iterate(); }));
    oBus->close();
}

INSTANTIATE_TEST_SUITE_P(, BusThatHangs,
                         testing::Values(HostileBus::EUpTo::Nothing, HostileBus::EUpTo::Accept,
                                         HostileBus::EUpTo::Authenticate, HostileBus::EUpTo::GreetOnce,
                                         HostileBus::EUpTo::Greet, HostileBus::EUpTo::GreetAndStop),
                         [](const auto& a_oInfo) { return tests::nameOf(a_oInfo.param); });

TEST_F(BusThatHangs, TheNextTryComesFiveSecondsAfterTheEndOfTheLast)
{
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + socket()).c_str(), 1);
    const HostileBus oHostile(socket(), HostileBus::EUpTo::Accept);
    Clock::duration oSkipped{};
    const auto oBegin = Clock::now();
    zel::SystemBus oBus([&] { return Clock::now() + oSkipped; });
    const unsigned iFirst = oHostile.connections();
    // Five seconds after the begin of the first try, but not after its end.
    oSkipped = oBegin + zel::SystemBus::c_oReconnectWait + 100ms - Clock::now();
    oBus.iterate();
    EXPECT_EQ(iFirst, oHostile.connections());
    oSkipped += zel::WaitTime::c_oLongest + c_oBusyMachine;
    oBus.iterate();
    EXPECT_EQ(iFirst + 1, oHostile.connections());
}

} // namespace
