// A session over a real socket. What a client sees of every operation is tested end to end; here stands what
// needs a look behind the socket, and what docs/protocol.md promises.
#include "configmanager/clientsession.h"

#include "configmanager/configservicemanager.h"
#include "systema/positioncursor.h"
#include "systema/refusal.h"
#include "tests/row.h"
#include "tests/unit/protocoldoc.h"
#include "tests/unit/systema/recordingplugin.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

using systema::ConfigDispatcher;
using tests::hexBlock;

namespace {

constexpr unsigned c_iFairness = 40;

/// The plugin of the process-wide dispatcher; it must live as long as that.
struct Zones
{
    Zones() { ConfigDispatcher::instance().attachTables(m_oPlugin); }

    RecordingPlugin::Calls m_lCalls;
    RecordingPlugin m_oPlugin{"zones", {"FirewallZones"}, m_lCalls};
};

class ClientSessionTest : public testing::Test
{
protected:
    ClientSessionTest() { m_oClient = connect(); }

    zel::UniqueFd connect()
    {
        std::array<int, 2> aFds{-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, aFds.data()), 0);
        m_oManager.takeConnection(zel::UniqueFd(aFds[1]));
        return zel::UniqueFd(aFds[0]);
    }

    static Zones& zones()
    {
        static Zones s_oZones;
        return s_oZones;
    }

    /// All that the session has to say until it waits for the client again.
    std::string receive()
    {
        std::string sBytes;
        std::array<char, 65536> aBuffer;
        do {
            ssize_t iRead = 0;
            while ((iRead = ::read(m_oClient.get(), aBuffer.data(), aBuffer.size())) > 0) {
                sBytes.append(aBuffer.data(), static_cast<std::size_t>(iRead));
            }
        } while (m_oEvents.handleEvents(0) > 0);
        return sBytes;
    }
    std::string exchange(const std::string& a_sBytes)
    {
        EXPECT_EQ(::write(m_oClient.get(), a_sBytes.data(), a_sBytes.size()),
                  static_cast<ssize_t>(a_sBytes.size()));
        m_oEvents.handleEvents(0);
        return receive();
    }

    std::chrono::milliseconds m_oAhead{}; // of the clock
    systema::net::EventDispatcher m_oEvents{[this] { return std::chrono::steady_clock::now() + m_oAhead; }};
    zel::cfg::ConfigServiceManager m_oManager{m_oEvents, c_iFairness, nullptr};
    zel::UniqueFd m_oClient;
};

} // namespace

TEST_F(ClientSessionTest, AnswersTheExampleOfTheDocumentByteForByte)
{
    zones().m_oPlugin.m_lRows = {tests::row({{"Id", 1}, {"DefaultPolicy", "ACCEPT"}})};
    EXPECT_EQ(exchange(hexBlock("hello")), hexBlock("hello-reply"));
    EXPECT_EQ(exchange(hexBlock("select")), hexBlock("select-reply"));
    EXPECT_EQ(zones().m_lCalls,
              RecordingPlugin::Calls{"zones.selectKey FirewallZones ZoneName lan Id, DefaultPolicy"});
    EXPECT_EQ(exchange(hexBlock("subscribe")), hexBlock("subscribe-reply"));
    ConfigDispatcher::instance().insertRow(this, "FirewallZones", {});
    ConfigDispatcher::instance().sendNotifications();
    EXPECT_EQ(receive(), hexBlock("change"));
}

TEST_F(ClientSessionTest, TheLimitsOfTheDocumentAreThoseOfTheCode)
{
    auto mLimits = tests::numbersOfNames(1);
    EXPECT_EQ(mLimits.erase("c_iFairness"), 1U); // handed over by main
    const std::map<std::string, long> mCode = {
        {"c_iFrameLimit", systema::wire::c_iFrameLimit},
        {"c_iReasonLimit", systema::c_iReasonLimit},
        {"c_iPartSize", systema::wire::c_iPartSize},
        {"c_iMaxConnections", zel::cfg::c_iMaxConnections},
        {"c_iMaxConnectionsPerUser", zel::cfg::c_iMaxConnectionsPerUser},
        {"c_oHelloTimeout", zel::cfg::c_oHelloTimeout.count()},
        {"c_iOutputLimit", zel::cfg::c_iOutputLimit},
        {"c_iEventOutput", zel::cfg::c_iEventOutput},
        {"c_iNamesLimit", zel::cfg::c_iNamesLimit},
        {"c_iKeptLimit", zel::cfg::c_iKeptLimit},
        {"c_iKeptLimitPerUser", zel::cfg::c_iKeptLimitPerUser},
        {"c_iPartsPerTurn", zel::cfg::c_iPartsPerTurn},
        {"c_oTurnTime", zel::cfg::c_oTurnTime.count()},
        {"c_oFetchTime", systema::c_oFetchTime.count()},
        {"c_iMinTransactionTimeout", ConfigDispatcher::c_iMinTransactionTimeout},
        {"c_iMaxTransactionTimeout", ConfigDispatcher::c_iMaxTransactionTimeout},
        {"c_iInitialTransactionTimeout", ConfigDispatcher::c_iInitialTransactionTimeout},
    };
    EXPECT_EQ(mLimits, mCode);
}

TEST_F(ClientSessionTest, AHelloThatLayUnreadWhileTheDaemonWasBusyIsAnswered)
{
    m_oAhead = zel::cfg::c_oHelloTimeout;
    EXPECT_EQ(exchange(hexBlock("hello")), hexBlock("hello-reply"));
    m_oAhead += zel::cfg::c_oHelloTimeout;
    EXPECT_NE(exchange(hexBlock("select")), "");
}

TEST_F(ClientSessionTest, AnAnswerThatIsPendingHoldsBackNobodyElse)
{
    exchange(hexBlock("hello"));
    zones().m_oPlugin.m_mResults["selectKey"] = systema::EResultCode::Pending;
    EXPECT_EQ(exchange(hexBlock("select") + hexBlock("subscribe")), "");

    zel::UniqueFd oWaiting = std::exchange(m_oClient, connect());
    EXPECT_EQ(exchange(hexBlock("hello")), hexBlock("hello-reply"));

    zones().m_oPlugin.m_mResults.clear();
    zones().m_oPlugin.m_lRows = {tests::row({{"Id", 1}, {"DefaultPolicy", "ACCEPT"}})};
    m_oClient = std::move(oWaiting);
    std::string sReplies;
    for (int i = 0; i < 1000 && sReplies.empty(); ++i) {
        m_oEvents.handleEvents(10000); // until the request is made again
        sReplies = receive();
    }
    EXPECT_EQ(sReplies, hexBlock("select-reply") + hexBlock("subscribe-reply"));
}

TEST_F(ClientSessionTest, ATurnBeforeTheEndOfAPauseLosesNoTimer)
{
    std::array<int, 2> aFds{-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, aFds.data()), 0);
    m_oClient = zel::UniqueFd(aFds[0]);
    zel::cfg::ClientSession oSession(m_oManager, zel::UniqueFd(aFds[1]), ::getuid());
    oSession.start();
    zones().m_oPlugin.m_mResults["selectKey"] = systema::EResultCode::Pending;
    exchange(hexBlock("hello") + hexBlock("select"));
    const auto iCalls = zones().m_lCalls.size();
    EXPECT_GT(iCalls, 0U);
    oSession.onTurn(); // as one that it has queued for before; asking again would start a second pause
    EXPECT_EQ(zones().m_lCalls.size(), iCalls);
    zones().m_oPlugin.m_mResults.clear();
}

TEST_F(ClientSessionTest, APingDoesNotWaitForTheBulkReadsOfAllOthers)
{
    constexpr int c_iReaders = 100;
    std::string sBulkRead;
    systema::wire::Writer oWriter(sBulkRead);
    oWriter.begin(systema::wire::EKind::Request, systema::wire::EOperation::SelectRows, 2);
    oWriter.text("FirewallZones");
    oWriter.u32(0);
    oWriter.u32(0xffffffff);
    oWriter.names({});
    oWriter.end();
    std::string sPing;
    systema::wire::Writer oPing(sPing);
    oPing.begin(systema::wire::EKind::Request, systema::wire::EOperation::Ping, 3);
    oPing.end();

    std::vector<zel::UniqueFd> lReaders;
    for (int i = 0; i < c_iReaders; ++i) {
        exchange(hexBlock("hello"));
        lReaders.push_back(std::exchange(m_oClient, connect()));
    }
    exchange(hexBlock("hello"));
    zones().m_oPlugin.m_lRows = {tests::row({{"Id", 1}})};
    int iReads = 0;
    zones().m_oPlugin.m_oOnCall = [&] {
        m_oAhead += std::chrono::milliseconds(20);
        ++iReads;
    };
    for (const auto& oReader : lReaders) {
        ASSERT_GT(::write(oReader.get(), sBulkRead.data(), sBulkRead.size()), 0);
    }
    ASSERT_GT(::write(m_oClient.get(), sPing.data(), sPing.size()), 0);
    std::array<char, 64> aReply;
    int iReadsBefore = 0;
    while (::read(m_oClient.get(), aReply.data(), aReply.size()) < 0 && iReads < c_iReaders) {
        m_oEvents.handleEvents(0);
        iReadsBefore = iReads;
    }
    EXPECT_LE(iReadsBefore, 4); // that is, those of one or two
    for (int i = 0; i < 10 * c_iReaders && iReads < c_iReaders; ++i) {
        m_oEvents.handleEvents(0);
    }
    EXPECT_GE(iReads, c_iReaders);
    zones().m_oPlugin.m_oOnCall = nullptr;
}
