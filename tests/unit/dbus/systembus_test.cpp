// The wrappers of the network services on a real bus.
#include "dbus/systembus.h"

#include "dbus/neighbourdbusproxy.h"
#include "dbus/remoteobject.h"
#include "dbus/sendable.h"
#include "tests/logof.h"
#include "tests/privatebus.h"
#include "tests/unit/dbus/recorder.h"
#include "tests/unit/dbus/service.h"
#include "tools/signals.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <deque>
#include <map>
#include <numeric>
#include <optional>
#include <thread>

using namespace std::chrono_literals;
using testing::AnyOf;
using testing::HasSubstr;
using Clock = std::chrono::steady_clock;
using Signals = std::vector<std::string>;

namespace {

constexpr const char* c_pNeighbour = "com.kestrane.network.IPv4Neighbour";

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
    void emitBurst(unsigned a_iSignals)
    {
        for (unsigned i = 0; i < a_iSignals; ++i) {
            m_oService->emit("StatusChange", {"eth0", "true"});
        }
        m_oService->finish();
    }
    /// All of a burst comes, in iterations that are bounded. How many there are is up to the bus, whose
    /// pauses end them.
    void expectInParts(unsigned a_iSignals)
    {
        std::size_t iDelivered = 0;
        for (int i = 0; i < 1000 && iDelivered < a_iSignals; ++i) {
            const std::size_t iSignals = deliver().size() / 2;
            EXPECT_LE(iSignals, zel::SystemBus::c_iMostMessages);
            iDelivered += iSignals;
        }
        EXPECT_EQ(iDelivered, a_iSignals);
    }
    /// The error's text, if there is one.
    std::optional<std::string> call(const std::string& a_sDevice = "eth0")
    {
        bool bUp = false;
        const auto oResult = m_oInterfaceStatus.GetLinkStatusForDevice(a_sDevice, bUp);
        return oResult.isDone() ? std::nullopt : std::optional(oResult.m_sError);
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

using Words = Service::Words;

/// The type of each argument.
Words typesOf(const char* a_pTypes)
{
    Words lTypes;
    for (; *a_pTypes != '\0'; ++a_pTypes) {
        if (!lTypes.empty() && lTypes.back() == "a") {
            lTypes.back() += *a_pTypes;
        } else {
            lTypes.emplace_back(1, *a_pTypes);
        }
    }
    return lTypes;
}

/// A word for each of the types.
Words wordsFor(const Words& a_lTypes)
{
    const std::map<std::string, std::string> mWords{{"y", "200"}, {"u", "4000000000"}, {"b", "true"},
                                                    {"d", "1.5"}, {"as", "one,two"},   {"au", "1"}};
    Words lWords;
    for (const auto& sType : a_lTypes) {
        const auto it = mWords.find(sType);
        lWords.push_back(it != mWords.end() ? it->second : "text" + std::to_string(lWords.size()));
    }
    return lWords;
}

/// The types with one missing or another one, in every place.
std::vector<Words> wrongForms(const Words& a_lRight)
{
    std::vector<Words> lForms;
    for (std::size_t i = 0; i < a_lRight.size(); ++i) {
        lForms.emplace_back(a_lRight.begin(), a_lRight.begin() + static_cast<std::ptrdiff_t>(i));
        for (const char* pWrong : {"d", "au"}) {
            lForms.push_back(a_lRight);
            lForms.back()[i] = pWrong;
        }
    }
    return lForms;
}

/// Every signal that the recorder hears, those of a service together.
std::vector<zel::netsim::Signal> heardSignals()
{
    std::vector<zel::netsim::Signal> lSignals;
    std::ranges::copy_if(zel::netsim::signals(), std::back_inserter(lSignals), [](const auto& a_oSignal) {
        const std::string sService = a_oSignal.m_pService;
        return sService != c_pNeighbour && !sService.ends_with("SwitchPortStatus");
    });
    return lSignals;
}

} // namespace

TEST_F(SystemBus, EverySignalReachesEveryReceiverInOrder)
{
    for (const auto& oSignal : heardSignals()) {
        std::string sTold = oSignal.m_pName;
        for (const auto& sWord : wordsFor(typesOf(oSignal.m_pTypes))) {
            sTold += " " + (sWord == "true" ? "1" : sWord == "one,two" ? "one two" : sWord);
        }
        m_oService->emit(oSignal.m_pName, wordsFor(typesOf(oSignal.m_pTypes)));
        EXPECT_EQ(deliver(), (Signals{"1: " + sTold, "2: " + sTold}));
    }
}

TEST_F(SystemBus, BadlyTypedSignalsAreRefusedAndLoggedOnceAService)
{
    std::string sLast;
    for (const auto& oSignal : heardSignals()) {
        const std::string sLog = logOf([&] {
            for (const auto& lTypes : wrongForms(typesOf(oSignal.m_pTypes))) {
                m_oService->emit(oSignal.m_pName, wordsFor(lTypes),
                                 std::accumulate(lTypes.begin(), lTypes.end(), std::string()));
            }
            EXPECT_EQ(deliver(), Signals());
        });
        if (std::exchange(sLast, oSignal.m_pService) != oSignal.m_pService) {
            EXPECT_THAT(sLog, HasSubstr("Signals of " + sLast + " are refused, the first was " +
                                        oSignal.m_pName + ": org.freedesktop.DBus.Error.InvalidArgs"));
            EXPECT_EQ(std::ranges::count(sLog, '\n'), 1) << sLog;
        } else {
            EXPECT_EQ(sLog, "");
        }
    }
    // What follows the arguments that are expected does not matter.
    m_oService->emit("StatusChange", {"eth0", "true", "more"}, "sbs");
    EXPECT_EQ(deliver().size(), 2U);
}

TEST_F(SystemBus, TwoWrappersOfAServiceHearTheSame)
{
    zel::InterfaceStatusDBusProxy oOther(m_oBus);
    Recorder oThird("3", m_lSignals);
    oOther.registerPlugin(&oThird);
    m_oService->emit("StatusChange", {"eth0"}, "s");
    m_oService->emit("StatusChange", {"eth0", "false"});
    EXPECT_THAT(deliver(), testing::UnorderedElementsAre("1: StatusChange eth0 0", "2: StatusChange eth0 0",
                                                         "3: StatusChange eth0 0"));
}

TEST_F(SystemBus, ABurstIsDeliveredInParts)
{
    emitBurst(3000);
    expectInParts(3000);
}

TEST_F(SystemBus, LargeSignalsDoNotKeepThoseBehindThemForMinutes)
{
    for (int i = 0; i < 20; ++i) {
        m_oService->emit("StatusChange", {std::string(100000, 'x')},
                         "s"); // not what is expected, and so refused
    }
    m_oService->emit("StatusChange", {"eth0", "true"});
    Signals lTold;
    for (int i = 0; i < 20 && lTold.empty(); ++i) { // a tick each: more than a busy machine needs
        lTold = deliver();
    }
    EXPECT_EQ(lTold, (Signals{"1: StatusChange eth0 1", "2: StatusChange eth0 1"}));
}

TEST_F(SystemBus, WhatABlockingCallHasReadIsDeliveredInPartsToo)
{
    emitBurst(5000);
    EXPECT_TRUE(call());
    expectInParts(5000);
}

TEST_F(SystemBus, AFloodOfOneServiceCostsNoOtherASignal)
{
    int iMissed = 0;
    m_oInterfaceStatus.setOnMissed([&iMissed] { ++iMissed; });
    const auto flood = [this](const char* a_pSignal, const Words& a_lWords) {
        for (unsigned i = 0; i < 20000; ++i) {
            m_oService->emit(a_pSignal, a_lWords);
        }
        m_oService->emit("LinkStatusChange", {"eth0", "true"});
        m_oService->finish();
        // Each call reads what has come before its answer.
        bool bDone = false;
        call();
        m_oDnsMasq.DumpCache(bDone);
        for (int i = 0; i < 20; ++i) {
            m_oBus.iterate();
        }
    };
    const auto lost = [](const std::string& a_sService) {
        return "error SystemBus Signals of com.kestrane.network." + a_sService +
               " are lost, more than 8192 were waiting\n";
    };
    const Words lNeighbour{"192.0.2.7", "eth0", "mac", "1"};
    // A slow machine may deliver as fast as it reads.
    EXPECT_THAT(logOf([&] { flood("NewIPv4Neighbour", lNeighbour); }), AnyOf("", lost("IPv4Neighbour")));
    EXPECT_EQ(m_lSignals, (Signals{"1: LinkStatusChange eth0 1", "2: LinkStatusChange eth0 1"}));
    EXPECT_EQ(iMissed, 0);
    const std::string sLog = logOf([&] { flood("StatusChange", {"eth0", "true"}); });
    EXPECT_THAT(sLog, AnyOf("", lost("InterfaceStatus")));
    EXPECT_EQ(iMissed > 0, !sLog.empty()) << "its receivers must know";
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
    m_oInterfaceStatus.setOnMissed([&iBound] { ++iBound; });
    EXPECT_EQ(logOf([&] { m_oBus.iterate(); }), "info SystemBus Connected to the system bus\n");
    EXPECT_EQ(iBound, 1) << "signals may have been missed";
    m_oService->emit("StatusChange", {"eth0", "true"});
    EXPECT_EQ(deliver().size(), 2U);
}

TEST_F(SystemBus, LossNoticedByACallIsMendedByTheNextIteration)
{
    m_oService->emit("StatusChange", {"eth0", "true"});
    m_oService->finish();
    m_oService.reset();
    m_oDaemon->stop();
    EXPECT_TRUE(call());
    m_oDaemon->start();
    m_oNow += zel::SystemBus::c_oReconnectWait; // since it connected
    m_oBus.iterate();
    m_oService.emplace(m_oDaemon->address());
    m_oService->emit("StatusChange", {"eth0", "true"});
    EXPECT_EQ(deliver().size(), 2U);
}

TEST_F(SystemBus, AServiceThatComesLateIsAskedAtOnceAndItsReceiversCatchUp)
{
    int iMissed = 0;
    m_oInterfaceStatus.setOnMissed([&iMissed] { ++iMissed; });
    EXPECT_THAT(call(), testing::Optional(HasSubstr(zel::netsim::c_pInterfaceStatus)))
        << "nobody has the name";
    ASSERT_TRUE(m_oService->own(c_pNeighbour));
    deliver();
    EXPECT_EQ(iMissed, 0);
    ASSERT_TRUE(m_oService->own(zel::netsim::c_pInterfaceStatus));
    deliver();
    EXPECT_EQ(iMissed, 1);
    std::thread oService([this] { m_oService->answer(); });
    bool bUp = false;
    EXPECT_TRUE(m_oInterfaceStatus.GetLinkStatusForDevice("eth0", bUp).isDone());
    EXPECT_TRUE(bUp);
    oService.join();
}

TEST_F(SystemBus, AServiceThatLeavesTheBusAndOneThatIsBackAreLoggedOnce)
{
    const auto logOfNews = [this] {
        m_oService->finish();
        return logOf([this] { m_oBus.iterate(); });
    };
    const std::string sName = zel::netsim::c_pInterfaceStatus;
    const std::string sGone =
        "warning SystemBus " + sName + " has left the bus; what it told last is shown until it is back\n";
    ASSERT_TRUE(m_oService->own(sName.c_str()));
    EXPECT_EQ(logOfNews(), "") << "it was not missed";
    m_oService->disown(sName.c_str());
    EXPECT_EQ(logOfNews(), sGone);
    ASSERT_TRUE(m_oService->own(sName.c_str()));
    EXPECT_EQ(logOfNews(), "info SystemBus " + sName + " is back on the bus\n");
    for (int i = 0; i < 20; ++i) {
        m_oService->disown(sName.c_str());
        EXPECT_TRUE(m_oService->own(sName.c_str()));
    }
    m_oService->disown(sName.c_str());
    EXPECT_EQ(logOfNews(), sGone) << "one that flaps does not fill the log";
}

TEST_F(SystemBus, AServiceThatNeverAnswersCostsOneWait)
{
    ASSERT_TRUE(m_oService->own(zel::netsim::c_pInterfaceStatus));
    const auto wait = [this](int a_iCalls) {
        const auto oStart = Clock::now();
        for (int i = 0; i < a_iCalls; ++i) {
            EXPECT_TRUE(call());
        }
        return Clock::now() - oStart;
    };
    constexpr auto c_oCeiling = zel::WaitTime::c_oLongest;
    EXPECT_GE(wait(1), c_oCeiling);
    EXPECT_LT(wait(20), c_oCeiling);

    // A signal shows that it lives; it is asked again.
    m_oService->emit("StatusChange", {"eth0", "true"});
    deliver();
    EXPECT_GE(wait(1), c_oCeiling);
}

TEST_F(SystemBus, ServicesThatNeverAnswerCostATickHalfASecond)
{
    std::deque<zel::InterfaceStatusDBusProxy> lOthers;
    for (int i = 0; i < 10; ++i) {
        lOthers.emplace_back(m_oBus);
    }
    ASSERT_TRUE(m_oService->own(zel::netsim::c_pInterfaceStatus));
    m_oBus.iterate();
    EXPECT_TRUE(m_oBus.mayWait());
    const auto oStart = Clock::now();
    for (auto& oOther : lOthers) {
        bool bUp = false;
        EXPECT_FALSE(oOther.GetLinkStatusForDevice("eth0", bUp).isDone());
    }
    EXPECT_LT(Clock::now() - oStart, 1s);
    EXPECT_FALSE(m_oBus.mayWait());
    m_oBus.iterate();
    EXPECT_TRUE(m_oBus.mayWait());
}

TEST_F(SystemBus, ATextThatCannotBeSentFailsItsOwnCallOnly)
{
    ASSERT_TRUE(m_oService->own(zel::netsim::c_pInterfaceStatus));
    for (const std::string& sText :
         {std::string("\xff\xfe"), std::string("\xed\xa0\x80"), std::string("eth0\0x", 6),
          std::string(zel::c_iMostSentBytes + 1, 'x')}) {
        EXPECT_THAT(call(sText), testing::Optional(HasSubstr("a text is")));
    }
    std::thread oService([this] { m_oService->answer(); });
    EXPECT_EQ(call(std::string(zel::c_iMostSentBytes, 'x')), std::nullopt)
        << "the service is asked all the same";
    oService.join();
}

TEST_F(SystemBus, LibdbusNeverEndsTheProcess)
{
    EXPECT_THROW(zel::checkNames({"no name", "no path", "no interface", "no method"}), std::runtime_error);
    DBus::CallMessage oCall("a.b", "/", "a.b", "c");
    DBus::MessageIter oArguments = oCall.writer();
    EXPECT_FALSE(oArguments.append_string("\xff\xfe"));
    EXPECT_FALSE(oArguments.append_path("no path"));
    EXPECT_THROW(zel::matchRuleFor("a.b',sender='c.d", "/"), std::runtime_error);
}

TEST_F(SystemBus, NeighboursAreQueuedUpToABound)
{
    const auto emit = [this](const char* a_pSignal, const std::string& a_sMac) {
        m_oService->emit(a_pSignal, {"192.0.2.7", "eth0", a_sMac, "4000000000"});
    };
    emit("RemovedIPv4Neighbour", "gone");
    m_oService->emit("NewIPv4Neighbour", {"192.0.2.7", "eth0", "bad"}, "sss");
    for (std::size_t i = 0; i <= zel::NeighbourDBusProxy::c_iMostQueued; ++i) {
        emit("NewIPv4Neighbour", std::to_string(i));
    }
    m_oService->emit("LinkStatusChange", {"eth0", "true"});
    EXPECT_EQ(deliver(), (Signals{"1: LinkStatusChange eth0 1", "2: LinkStatusChange eth0 1"}))
        << "all the same";
    const auto lQueue = m_oNeighbour.take();
    ASSERT_EQ(lQueue.size(), zel::NeighbourDBusProxy::c_iMostQueued);
    EXPECT_EQ(lQueue.front().macAddress(), "1");
    std::ostringstream oText;
    lQueue.back().print(oText);
    EXPECT_THAT(oText.str(), testing::MatchesRegex("Neighbour '192.0.2.7' 'eth0' '1024' 4000000000 New "
                                                   "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
    EXPECT_TRUE(m_oNeighbour.take().empty());
}
