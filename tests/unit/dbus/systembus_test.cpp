// The wrappers of the network services on a real bus.
#include "dbus/systembus.h"

#include "dbus/neighbourdbusproxy.h"
#include "dbus/remoteobject.h"
#include "tests/logof.h"
#include "tests/privatebus.h"
#include "tests/unit/dbus/recorder.h"
#include "tests/unit/dbus/service.h"

#include <gmock/gmock.h>

#include <optional>
#include <thread>

using namespace std::chrono_literals;
using testing::HasSubstr;
using Clock = std::chrono::steady_clock;
using Arguments = std::vector<Service::Argument>;
using Signals = std::vector<std::string>;

namespace {

constexpr const char* c_pInterfaceStatus = "com.kestrane.network.InterfaceStatus";
constexpr const char* c_pNeighbour = "com.kestrane.network.IPv4Neighbour";
constexpr std::uint8_t c_iByte = 200;
constexpr std::uint32_t c_iNumber = 4000000000;

class SystemBus : public testing::Test
{
protected:
    SystemBus()
    {
        for (Recorder* pReceiver : {&m_oFirst, &m_oSecond}) {
            m_oInterfaceStatus.registerPlugin(pReceiver);
            m_oIPv4.registerPlugin(pReceiver);
            m_oIPv6.registerPlugin(pReceiver);
            m_oDomainNameServer.registerPlugin(pReceiver);
            m_oIPv4Route.registerPlugin(pReceiver);
            m_oIPv6Route.registerPlugin(pReceiver);
            m_oDnsMasq.registerPlugin(pReceiver);
        }
        m_oService.emplace(m_oDaemon->address());
    }

    /// What the receivers are told in so many iterations after all that was sent so far.
    Signals deliver()
    {
        m_oService->finish();
        m_lSignals.clear();
        m_oBus.iterate();
        return m_lSignals;
    }
    std::optional<std::string> call()
    {
        bool bUp = false;
        return m_oInterfaceStatus.GetLinkStatusForDevice("eth0", bUp);
    }

    tests::ProcessBus m_oDaemon;
    Signals m_lSignals;
    Recorder m_oFirst{"1", m_lSignals};
    Recorder m_oSecond{"2", m_lSignals};
    Clock::time_point m_oNow;
    zel::SystemBus m_oBus{[this] { return m_oNow; }};
    zel::InterfaceStatusDBusProxy m_oInterfaceStatus{m_oBus};
    zel::IPv4DBusProxy m_oIPv4{m_oBus};
    zel::IPv6DBusProxy m_oIPv6{m_oBus};
    zel::DomainNameServerDBusProxy m_oDomainNameServer{m_oBus};
    zel::IPv4RouteDBusProxy m_oIPv4Route{m_oBus};
    zel::IPv6RouteDBusProxy m_oIPv6Route{m_oBus};
    zel::DnsMasqDBusProxy m_oDnsMasq{m_oBus};
    zel::NeighbourDBusProxy m_oNeighbour{m_oBus};
    std::optional<Service> m_oService;
};

struct ServiceCase
{
    std::string m_sName;
    Arguments m_lArguments;
    std::vector<const char*> m_lMembers;
    std::string m_sText; // of the arguments
};

const ServiceCase c_aServices[] = {
    {c_pInterfaceStatus, {"eth0", true}, {"StatusChange", "LinkStatusChange"}, " eth0 1"},
    {"com.kestrane.network.IPv4Address", {"a", "b"}, {"NewIPv4Address", "RemovedIPv4Address"}, " a b"},
    {"com.kestrane.network.IPv6Address",
     {"a", "b", c_iByte},
     {"NewIPv6Address", "RemovedIPv6Address"},
     " a b 200"},
    {"com.kestrane.network.DomainNameServer",
     {"a", "b", std::vector<const char*>{"c", "d"}},
     {"UpdateServer", "RemoveServer"},
     " a b c d"},
    {"com.kestrane.network.IPv4Route",
     {"a", c_iByte, "b", "c", "d", c_iNumber},
     {"NewIPv4Route", "RemovedIPv4Route"},
     " a 200 b c d 4000000000"},
    {"com.kestrane.network.IPv6Route",
     {"a", c_iByte, "b", "c"},
     {"NewIPv6Route", "RemovedIPv6Route"},
     " a 200 b c"},
    {"uk.org.thekelleys.dnsmasq",
     {"a", "b", "c", "d", c_iNumber},
     {"DhcpLeaseAdded", "DhcpLeaseDeleted", "DhcpLeaseUpdated", "DhcpLeaseAcked"},
     " a b c d 4000000000"},
};

/// The arguments with one missing or of another type, in every place.
std::vector<Arguments> wrongForms(const Arguments& a_lRight)
{
    std::vector<Arguments> lForms;
    for (std::size_t i = 0; i < a_lRight.size(); ++i) {
        lForms.emplace_back(a_lRight.begin(), a_lRight.begin() + static_cast<std::ptrdiff_t>(i));
        lForms.push_back(a_lRight);
        lForms.back()[i] = 1.5;
        if (std::holds_alternative<std::vector<const char*>>(a_lRight[i])) {
            lForms.push_back(a_lRight);
            lForms.back()[i] = std::vector<std::uint32_t>{1};
        }
    }
    return lForms;
}

} // namespace

TEST_F(SystemBus, EverySignalReachesEveryReceiverInOrder)
{
    for (const auto& oCase : c_aServices) {
        for (const std::string sMember : oCase.m_lMembers) {
            m_oService->emit(oCase.m_sName, sMember, oCase.m_lArguments);
            const std::string sSignal = sMember + oCase.m_sText;
            EXPECT_EQ(deliver(), (Signals{"1: " + sSignal, "2: " + sSignal}));
        }
    }
}

TEST_F(SystemBus, BadlyTypedSignalsAreRefusedAndLoggedOnceAService)
{
    for (const auto& oCase : c_aServices) {
        const std::string sLog = logOf([&] {
            for (const char* pMember : oCase.m_lMembers) {
                for (const auto& lArguments : wrongForms(oCase.m_lArguments)) {
                    m_oService->emit(oCase.m_sName, pMember, lArguments);
                }
            }
            EXPECT_EQ(deliver(), Signals());
        });
        EXPECT_THAT(sLog, HasSubstr("Signals of " + oCase.m_sName + " are refused, the first was " +
                                    oCase.m_lMembers[0] + ": org.freedesktop.DBus.Error.InvalidArgs"));
        EXPECT_EQ(std::ranges::count(sLog, '\n'), 1) << sLog;

        m_oService->emit(oCase.m_sName, oCase.m_lMembers[0], oCase.m_lArguments);
        EXPECT_EQ(deliver().size(), 2U);
    }
}

TEST_F(SystemBus, TwoWrappersOfAServiceHearTheSame)
{
    zel::InterfaceStatusDBusProxy oOther(m_oBus);
    Recorder oThird("3", m_lSignals);
    oOther.registerPlugin(&oThird);
    m_oService->emit(c_pInterfaceStatus, "StatusChange", {"eth0"});
    m_oService->emit(c_pInterfaceStatus, "StatusChange", {"eth0", false});
    m_oService->emit(c_pInterfaceStatus, "NoSuchSignal", {"eth0", false});
    EXPECT_THAT(deliver(), testing::UnorderedElementsAre("1: StatusChange eth0 0", "2: StatusChange eth0 0",
                                                         "3: StatusChange eth0 0"));
}

TEST_F(SystemBus, ABurstIsDeliveredInTwoIterations)
{
    for (int i = 0; i < 3000; ++i) {
        m_oService->emit(c_pInterfaceStatus, "StatusChange", {"eth0", true});
    }
    const std::size_t iFirst = deliver().size() / 2;
    EXPECT_LE(iFirst, zel::SystemBus::c_iMostMessages);
    EXPECT_EQ(iFirst + deliver().size() / 2, 3000U);
}

TEST_F(SystemBus, WhatABlockingCallHasReadIsDeliveredInPartsToo)
{
    for (int i = 0; i < 5000; ++i) {
        m_oService->emit(c_pInterfaceStatus, "StatusChange", {"eth0", true});
    }
    m_oService->finish();
    EXPECT_TRUE(call());
    std::size_t iDelivered = 0;
    for (int i = 0; i < 3; ++i) {
        const std::size_t iSignals = deliver().size() / 2;
        EXPECT_LE(iSignals, zel::SystemBus::c_iMostMessages);
        iDelivered += iSignals;
    }
    EXPECT_EQ(iDelivered, 5000U);
}

TEST_F(SystemBus, CloseDoesNotWaitForABusThatHangs)
{
    m_oDaemon->signal(SIGSTOP);
    const auto oStart = Clock::now();
    m_oBus.close();
    EXPECT_LT(Clock::now() - oStart, 5s);
    EXPECT_THAT(call(), testing::Optional(std::string("there is no system bus")));
    m_oDaemon->signal(SIGCONT);
}

TEST_F(SystemBus, AnIterationWithNothingPendingReturnsAtOnce)
{
    const auto oStart = Clock::now();
    for (int i = 0; i < 100; ++i) {
        m_oBus.iterate();
    }
    EXPECT_LT(Clock::now() - oStart, 2s);
}

TEST_F(SystemBus, ConnectsAgainWhenTheBusIsBack)
{
    m_oService.reset();
    m_oDaemon->stop();
    const std::string sLost = logOf([&] {
        for (int i = 0; i < 10; ++i) {
            m_oBus.iterate();
            m_oNow += 1s;
        }
        EXPECT_THAT(call(), testing::Optional(std::string("there is no system bus")));
    });
    EXPECT_EQ(sLost, "error SystemBus Lost the connection to the system bus\n");

    m_oDaemon->start();
    m_oService.emplace(m_oDaemon->address());
    m_oNow += zel::SystemBus::c_oReconnectWait;
    int iBound = 0;
    m_oInterfaceStatus.setOnBound([&iBound] { ++iBound; });
    EXPECT_EQ(logOf([&] { m_oBus.iterate(); }), "info SystemBus Connected to the system bus\n");
    EXPECT_EQ(iBound, 1) << "signals may have been missed";
    m_oService->emit(c_pInterfaceStatus, "StatusChange", {"eth0", true});
    EXPECT_EQ(deliver().size(), 2U);
}

TEST_F(SystemBus, LossNoticedByACallIsMendedByTheNextIteration)
{
    m_oService->emit(c_pInterfaceStatus, "StatusChange", {"eth0", true});
    m_oService->finish();
    m_oService.reset();
    m_oDaemon->stop();
    EXPECT_TRUE(call());
    m_oDaemon->start();
    m_oBus.iterate();
    m_oService.emplace(m_oDaemon->address());
    m_oService->emit(c_pInterfaceStatus, "StatusChange", {"eth0", true});
    EXPECT_EQ(deliver().size(), 2U);
}

TEST_F(SystemBus, AskedServiceAnswers)
{
    EXPECT_THAT(call(), testing::Optional(HasSubstr(c_pInterfaceStatus))) << "nobody has the name";
    ASSERT_TRUE(m_oService->own(c_pInterfaceStatus));
    std::thread oService([this] { m_oService->answer(); });
    bool bUp = false;
    EXPECT_EQ(m_oInterfaceStatus.GetLinkStatusForDevice("eth0", bUp), std::nullopt);
    EXPECT_TRUE(bUp);
    oService.join();
}

TEST_F(SystemBus, AServiceThatNeverAnswersCostsOneWait)
{
    ASSERT_TRUE(m_oService->own(c_pInterfaceStatus));
    const auto wait = [this](int a_iCalls) {
        const auto oStart = Clock::now();
        for (int i = 0; i < a_iCalls; ++i) {
            EXPECT_TRUE(call());
        }
        return Clock::now() - oStart;
    };
    constexpr auto c_oCeiling = zel::RemoteObject::c_oCallCeiling;
    EXPECT_GE(wait(1), c_oCeiling);
    EXPECT_LT(wait(20), c_oCeiling);

    // A signal shows that it lives; it is asked again.
    m_oService->emit(c_pInterfaceStatus, "StatusChange", {"eth0", true});
    deliver();
    EXPECT_GE(wait(1), c_oCeiling);
}

TEST_F(SystemBus, NeighboursAreQueuedUpToABound)
{
    const auto emit = [this](const char* a_pMember, const std::string& a_sMac) {
        m_oService->emit(c_pNeighbour, a_pMember, {"192.0.2.7", "eth0", a_sMac.c_str(), c_iNumber});
    };
    emit("RemovedIPv4Neighbour", "gone");
    m_oService->emit(c_pNeighbour, "NewIPv4Neighbour", {"192.0.2.7", "eth0", "bad"});
    for (std::size_t i = 0; i <= zel::NeighbourDBusProxy::c_iMostQueued; ++i) {
        emit("NewIPv4Neighbour", std::to_string(i));
    }
    deliver();
    const auto lQueue = m_oNeighbour.take();
    ASSERT_EQ(lQueue.size(), zel::NeighbourDBusProxy::c_iMostQueued);
    EXPECT_EQ(lQueue.front().macAddress(), "1");
    std::ostringstream oText;
    lQueue.back().print(oText);
    EXPECT_THAT(oText.str(), testing::MatchesRegex("Neighbour '192.0.2.7' 'eth0' '1024' 4000000000 New "
                                                   "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
    EXPECT_TRUE(m_oNeighbour.take().empty());
}
