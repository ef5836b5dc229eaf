// The limits: time, connections, descriptors, memory, and the share that one client may take of the daemon.
#include "tests/e2e/daemontest.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <list>
#include <sys/resource.h>
#include <unistd.h>

namespace e2e {
namespace {

class Limits : public RunningDaemonTest
{
protected:
    static constexpr unsigned c_iMostConnections = 1024;
    static constexpr unsigned c_iMostOfAUser = 768;

    void SetUp() override
    {
        rlimit oLimit{};
        ::getrlimit(RLIMIT_NOFILE, &oLimit);
        oLimit.rlim_cur = std::min<rlim_t>(oLimit.rlim_max, 4096);
        ::setrlimit(RLIMIT_NOFILE, &oLimit);
        if (oLimit.rlim_cur < c_iMostConnections + 100) {
            GTEST_SKIP() << "too few descriptors are allowed here";
        }
        RunningDaemonTest::SetUp();
    }

    /// Connections that have said hello.
    std::list<RawClient> connect(unsigned a_iCount)
    {
        std::list<RawClient> lClients;
        while (lClients.size() < a_iCount) {
            lClients.emplace_back(socket());
        }
        return lClients;
    }

    void expectRefusedConnection()
    {
        RawClient oClient(socket(), RawClient::EHello::NotYet);
        EXPECT_EQ((Frame{EKind::Reply, EOperation::Hello, 2, 0, ""}), oClient.receive());
        EXPECT_TRUE(oClient.isClosed());
    }
};

TEST_F(Limits, WhoDoesNotSayHelloIsClosedAndAnIdleDaemonSleeps)
{
    const auto oStart = std::chrono::steady_clock::now();
    RawClient oSilent(socket(), RawClient::EHello::NotYet);
    RawClient oSlow(socket(), RawClient::EHello::NotYet);
    RawClient oPolite(socket());
    oSlow.send(frameOf(request::Hello{"half"}).substr(0, 20));
    EXPECT_EQ(0U, client().code(request::Ping{}));
    const auto iSwitches = std::stoul(status("voluntary_ctxt_switches"));
    EXPECT_THAT(logOf([&] {
                    EXPECT_TRUE(oSilent.isClosed());
                    EXPECT_TRUE(oSlow.isClosed());
                    EXPECT_TRUE(eventually([this] {
                        return daemon().errors().find(" 1 more in a second: ") != std::string::npos;
                    }));
                }),
                testing::AllOf(testing::SizeIs(2), Each(HasSubstr("did not say hello"))));
    EXPECT_GE(std::chrono::steady_clock::now() - oStart, 5s);
    EXPECT_LE(std::stoul(status("voluntary_ctxt_switches")), iSwitches + 12); // once in two seconds is enough
    EXPECT_EQ(0U, oPolite.ask(request::Ping{}));
}

TEST_F(Limits, ConnectionsOfOneUserAndOfAll)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can be two users, and has no limit of its own";
    }
    constexpr uid_t c_iNobody = 65534;
    ASSERT_EQ(0, ::seteuid(c_iNobody)); // whoever it is at connecting counts
    auto lClients = connect(c_iMostOfAUser);
    expectRefusedConnection();
    ASSERT_EQ(0, ::seteuid(0));
    lClients.splice(lClients.end(), connect(c_iMostConnections - c_iMostOfAUser - 1));
    EXPECT_EQ(c_iMostConnections, client().info("Clients"));
    EXPECT_THAT(logOf([this] { expectRefusedConnection(); }), ElementsAre(HasSubstr("too many")));
    EXPECT_EQ(0U, lClients.front().ask(request::Ping{}));
    EXPECT_EQ(0U, lClients.back().ask(request::SelectRow{"Item", 0}));
    lClients.pop_front();
    EXPECT_TRUE(eventually([&] { return client().info("Clients") == c_iMostConnections - 1; }));
    EXPECT_EQ(0U, connect(1).front().ask(request::Ping{}));
}

TEST_F(Limits, TenThousandRequestsWithoutReadingAnAnswer)
{
    constexpr std::uint32_t c_iRequests = 10000;
    const std::string sLong(3000, 'x');
    EXPECT_EQ(0U, client().code(setNote(sLong)));
    std::string sRequests;
    for (std::uint32_t i = 1; i <= c_iRequests; ++i) {
        sRequests += frameOf(request::SelectKey{"Item", "Id", "1", {"Note"}}, i);
    }
    RawClient oFlood(socket());
    const std::size_t iBefore = memory();
    std::size_t iSent = 0;
    // Until the daemon takes no more: it sleeps although the socket is full.
    ASSERT_TRUE(eventually([&] {
        const std::size_t iMore = oFlood.sendSome(std::string_view(sRequests).substr(iSent));
        iSent += iMore;
        return iMore == 0 && isWaiting();
    }));
    ASSERT_LT(iSent, sRequests.size());
    if (!c_bSanitized) {
        EXPECT_LT(memory(), iBefore + 10 * 1024);
    }
    EXPECT_LT(client().info("Requests"), c_iRequests);
    EXPECT_EQ(0U, client().code(request::Ping{}));

    for (std::uint32_t i = 1; i <= c_iRequests; ++i) {
        iSent += oFlood.sendSome(std::string_view(sRequests).substr(iSent));
        ASSERT_EQ(0U, oFlood.receiveCode(i)) << i;
    }
    EXPECT_EQ(0U, oFlood.ask(request::Ping{}));
}

TEST_F(Limits, FloodOfOneClientLeavesOthersTheirTurn)
{
    RawClient oFlood(socket());
    RawClient oOther(socket());
    const unsigned iBefore = client().info("Requests");
    daemon().signal(SIGSTOP); // so that it finds all requests at once
    ASSERT_TRUE(eventually([this] { return status("State").starts_with("T"); }));
    constexpr std::size_t c_iFlood = 3000;
    const std::string sFlood = repeat(frameOf(request::GetSize{"Item"}), c_iFlood);
    ASSERT_EQ(sFlood.size(), oFlood.sendSome(sFlood));
    oOther.send(frameOf(request::Info{}));
    daemon().signal(SIGCONT);
    const auto oInfo = oOther.receive();
    ASSERT_TRUE(oInfo);
    const unsigned iServed =
        systema::wire::Reader(oInfo->m_sBody).values().getValue("Requests").getUnsigned() - iBefore;
    EXPECT_LE(iServed, 3 * 40U);
    for (std::size_t i = 0; i < c_iFlood; ++i) {
        ASSERT_EQ(0U, oFlood.receiveCode());
    }
}

TEST_F(Limits, AllConnectionsTogetherKeepAtMost16MiB)
{
    stop();
    m_oSandbox.addLargeTable(4000, 500);
    start();
    const std::size_t iBefore = memory();
    auto lReaders = connect(60);
    for (auto& oReader : lReaders) {
        oReader.send(frameOf(request::SelectRows{"Large"}));
    }
    EXPECT_TRUE(eventually([this] { return client().info("Clients") < 20 && isWaiting(); }));
    EXPECT_GT(client().info("Clients"), 12U);
    EXPECT_THAT(daemon().errors(), HasSubstr("all connections together keep too much"));
    if (!c_bSanitized) {
        EXPECT_LT(memory(), iBefore + 48 * 1024);
    }
    // Who was not closed gets all of it.
    unsigned iServed = 0;
    for (auto& oReader : lReaders) {
        if (!oReader.hasEnded()) {
            EXPECT_EQ(0U, oReader.receiveLast());
            ++iServed;
        }
    }
    EXPECT_EQ(client().info("Clients"), iServed + 1);
}

using FewDescriptors = DaemonTest;

TEST_F(FewDescriptors, ClientsThatAreThereGoOnAndOthersComeInLater)
{
    constexpr rlim_t c_iDescriptors = 64;
    start({}, [] {
        const rlimit oLimit{c_iDescriptors, c_iDescriptors};
        ::setrlimit(RLIMIT_NOFILE, &oLimit);
    });
    const auto hasPaused = [this] {
        return daemon().errors().find("Accepting connections pauses") != std::string::npos;
    };
    std::list<RawClient> lClients;
    while (!hasPaused()) {
        ASSERT_LT(lClients.size(), c_iDescriptors);
        auto& oClient = lClients.emplace_back(socket(), RawClient::EHello::NotYet);
        oClient.send(frameOf(request::Hello{"e2e"}));
        ASSERT_TRUE(eventually([&] { return oClient.hasInput() || hasPaused(); }));
    }
    EXPECT_GT(lClients.size(), 5U);
    RawClient& oWaiting = lClients.emplace_back(socket(), RawClient::EHello::NotYet);
    oWaiting.send(frameOf(request::Hello{"e2e"}));
    EXPECT_THAT(client().codes(request::SelectRows{"Item"}, request::SelectRows{"Scratch"},
                               request::SelectRows{"Job"}),
                Each(0U));
    EXPECT_THAT(client().codes(request::Begin{}, setNote("new"),
                               request::InsertRow{"Scratch", row({{"Text", "new"}})},
                               request::InsertRow{"Job", row({{"Name", "new"}})}, request::Commit{}),
                Each(0U));
    EXPECT_EQ("new", note());
    EXPECT_FALSE(oWaiting.hasInput());

    while (lClients.size() > 3) {
        lClients.pop_front();
    }
    EXPECT_EQ(0U, oWaiting.receiveCode());
    EXPECT_EQ(0U, oWaiting.ask(request::Ping{}));
}

} // namespace
} // namespace e2e
