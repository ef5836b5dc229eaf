// The daemon on a bus that stops answering at some point.
#include "tests/hostilebus.h"

#include "tests/e2e/daemontest.h"
#include "tests/privatebus.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <optional>
#include <thread>

namespace e2e {
namespace {

using tests::HostileBus;
using Clock = std::chrono::steady_clock;

class BusThatHangs : public DaemonTest, public testing::WithParamInterface<HostileBus::EUpTo>
{
};

TEST_P(BusThatHangs, ClientsAreServedTheDaemonEndsAndTheNextBusIsUsed)
{
    constexpr auto c_oSoon = c_bSanitized ? 10s : 3s;
    std::optional<HostileBus> oHostile(std::in_place, m_oSandbox.path("bus"), GetParam());
    const auto oBegin = Clock::now();
    start();
    EXPECT_LT(Clock::now() - oBegin, c_oSoon);
    std::cout << "first answer after " << (Clock::now() - oBegin) / 1ms << " ms\n";

    Clock::duration oLongest{};
    while (Clock::now() - oBegin < 6s) { // it looks for the bus again
        const auto oAsked = Clock::now();
        EXPECT_EQ(0U, client().code(request::Ping{}));
        oLongest = std::max<Clock::duration>(oLongest, Clock::now() - oAsked);
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_LT(oLongest, c_oSoon);
    std::cout << "longest wait " << oLongest / 1ms << " ms\n";

    oHostile.reset();
    tests::PrivateBus oGood(m_oSandbox.path("bus"));
    oGood.start();
    EXPECT_TRUE(eventually(
        [this] { return daemon().errors().find("Connected to the system bus") != std::string::npos; }));
}

TEST_P(BusThatHangs, TheDaemonEndsWhenItIsTold)
{
    const HostileBus oHostile(m_oSandbox.path("bus"), GetParam());
    start();
    const auto oBegin = Clock::now();
    stop();
    EXPECT_LT(Clock::now() - oBegin, c_bSanitized ? 20s : 5s); // a pass may wait for two
}

INSTANTIATE_TEST_SUITE_P(, BusThatHangs,
                         testing::Values(HostileBus::EUpTo::Nothing, HostileBus::EUpTo::Accept,
                                         HostileBus::EUpTo::GreetOnce, HostileBus::EUpTo::GreetAndStop),
                         [](const auto& a_oInfo) { return tests::nameOf(a_oInfo.param); });

} // namespace
} // namespace e2e
