#include "status/interfaces.h"

#include "tests/logof.h"
#include "tests/networknamespace.h"
#include "tests/unit/dbus/service.h"
#include "tests/unit/status/network.h"
#include "tests/unit/status/tablereader.h"
#include "tests/unit/systema/recordingplugin.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

using namespace std::chrono_literals;
using systema::EResultCode;
using systema::NameList;
using tests::row;

namespace {

const std::string c_sTable = "StatusNetifWatch";
const std::string c_sNoLink = "error Iface GetLinkStatusForDevice() failed for ";

/// Lets the system's uptime be later by that, for this process.
bool skipTime(int a_iSeconds)
{
    static int s_iSkipped = 0;
    s_iSkipped += a_iSeconds;
    const bool bMade = ::unshare(CLONE_NEWTIME) == 0;
    std::ofstream("/proc/self/timens_offsets") << "boottime " << s_iSkipped << " 0\n";
    const zel::UniqueFd oTime(::open("/proc/self/ns/time_for_children", O_RDONLY | O_CLOEXEC));
    return bMade && ::setns(oTime.get(), CLONE_NEWTIME) == 0;
}

class InterfacesTest : public NetworkTest
{
protected:
    InterfacesTest() { m_oNetwork.m_oDispatcher.attachTables(m_oConfig); }

    /// Has the devices in "StatusNetifConfig" and asks for them once.
    void watch(std::initializer_list<const char*> a_lDevices)
    {
        configure(a_lDevices);
        m_oInterfaces.init();
        update();
    }
    void configure(std::initializer_list<const char*> a_lDevices)
    {
        m_oConfig.m_lRows.clear();
        for (const char* pDevice : a_lDevices) {
            m_oConfig.m_lRows.push_back(row({{"Name", pDevice}, {"PhysicalName", pDevice}}));
        }
    }
    std::string update()
    {
        m_lChanged.clear();
        return logOf([&] { m_oInterfaces.update(m_lChanged); });
    }
    int number(const char* a_pColumn) { return std::stoi(m_oRead.at(0, {a_pColumn})); }

    RecordingPlugin::Calls m_lCalls;
    RecordingPlugin m_oConfig{"config", {"StatusNetifConfig", "InterfaceMapping"}, m_lCalls};
    Network m_oNetwork;
    zel::Interfaces m_oInterfaces{m_oNetwork.m_oDispatcher, m_oNetwork.m_oDispatcher,
                                  m_oNetwork.m_oInterfaceStatus, m_oNetwork.m_oIPv4, m_oNetwork.m_oIPv6};
    TableReader m_oRead{m_oInterfaces, c_sTable};
    NameList m_lChanged;
};

/// The same with a bus, and the service that answers for links.
class InterfacesOnABus : public InterfacesTest
{
protected:
    InterfacesOnABus()
    {
        m_oNetwork.m_oNow += zel::SystemBus::c_oReconnectWait;
        m_oNetwork.m_oBus.iterate();
        addLan();
        ip("link add wan type veth peer name modem");
        configure({"lan", "peer", "wan"});
        m_oInterfaces.init();
    }

    bool own() { return m_oService.own("com.kestrane.network.InterfaceStatus"); }
    /// The log of an update so much later, during which the service answers so many questions: each device
    /// has link.
    std::string updateAfter(std::chrono::seconds a_oTime, int a_iAnswers)
    {
        m_oService.finish();
        m_oNetwork.m_oNow += a_oTime;
        m_oNetwork.m_oBus.iterate();
        std::thread oService([&] {
            for (int i = 0; i < a_iAnswers; ++i) {
                m_oService.answer();
            }
        });
        std::string sLog = update();
        oService.join();
        return sLog;
    }
    std::string links() { return m_oRead.all({"IsLinkUp"}); }

    tests::ProcessBus m_oDaemon;
    Service m_oService{m_oDaemon->address()};
};

const std::string c_sSilent = ": com.kestrane.network.InterfaceStatus does not answer\n";

} // namespace

TEST_F(InterfacesOnABus, AQuestionThatWasNotAnsweredIsAskedAgainAfterThePause)
{
    ASSERT_TRUE(own());
    EXPECT_EQ(updateAfter(2s, 0), c_sNoLink + "lan" + c_sSilent);
    EXPECT_EQ(m_lChanged, NameList{c_sTable});
    EXPECT_EQ(updateAfter(2s, 0), "") << "the others are not asked for, which is no failure";
    EXPECT_EQ(m_lChanged, NameList{c_sTable});
    EXPECT_EQ(updateAfter(7s, 0), "");
    EXPECT_EQ(m_lChanged, NameList());
    EXPECT_EQ(updateAfter(1s, 0), "") << "peer has its turn; that the service is silent is logged once";
    EXPECT_EQ(m_lChanged, NameList());
    EXPECT_EQ(links(), "0 0 0 ");

    EXPECT_EQ(updateAfter(10s, 2 + 3), "") << "the service has the two old questions, too";
    EXPECT_EQ(m_lChanged, NameList{c_sTable});
    EXPECT_EQ(links(), "1 1 1 ");
    EXPECT_EQ(updateAfter(10s, 0), "");
    EXPECT_EQ(m_lChanged, NameList());

    // The link that was known stays while the device's question waits.
    m_oInterfaces.StatusChange("wan", true);
    m_oInterfaces.StatusChange("lan", true);
    EXPECT_EQ(updateAfter(2s, 0), c_sNoLink + "wan" + c_sSilent);
    EXPECT_EQ(updateAfter(2s, 0), "");
    EXPECT_EQ(m_lChanged, NameList{c_sTable});
    EXPECT_EQ(links(), "1 1 0 ");
}

TEST_F(InterfacesOnABus, AServiceThatComesAfterTheDaemonIsAskedAtOnce)
{
    const std::string sLog = updateAfter(2s, 0);
    EXPECT_TRUE(sLog.starts_with(c_sNoLink + "lan: The name com.kestrane")) << sLog;
    EXPECT_EQ(std::ranges::count(sLog, '\n'), 1) << "not a line for each device";
    EXPECT_EQ(updateAfter(2s, 0), "");
    EXPECT_EQ(updateAfter(10s, 0), "") << "nor one for each device in its turn";
    EXPECT_EQ(links(), "0 0 0 ");
    ASSERT_TRUE(own());
    EXPECT_EQ(updateAfter(2s, 3), "");
    EXPECT_EQ(m_lChanged, NameList{c_sTable});
    EXPECT_EQ(links(), "1 1 1 ");

    ip("link del wan");
    m_oInterfaces.StatusChange("wan", false);
    EXPECT_EQ(updateAfter(2s, 1), "");
    EXPECT_EQ(links(), "1 1 0 ") << "of a device that is not there, whatever the service says";
}

TEST_F(InterfacesTest, ADeviceThatIsDownHasNothingButItsMacAddress)
{
    addLan();
    ip("link set lan up");
    sendFrame("lan");
    ip("link set lan down");
    ip("address add 192.0.2.1/24 brd + dev lan");
    const std::string sNothing = ",0,0,0,0,0,0,0,0,0,0,0";
    const std::string sNoIPv4 = "0.0.0.0,0.0.0.0,0.0.0.0,0.0.0.0,";
    const std::string sLanDown = "1,lan," + sNoIPv4 + "02:00:00:00:00:01" + sNothing;
    watch({"lan", "none"});
    EXPECT_EQ(m_oRead.at(0), sLanDown);
    EXPECT_EQ(m_oRead.at(1), "2,none," + sNoIPv4 + sNothing);

    ip("link set lan up");
    m_oInterfaces.StatusChange("lan", true);
    update();
    EXPECT_EQ(m_oRead.at(0, {"Addr", "BroadAddr", "Netmask", "MTU", "TxPackets", "TxBytes", "IsUp"}),
              "192.0.2.1,192.0.2.255,255.255.255.0,1400,1," + std::to_string(c_iFrameSize) + ",1");
    ip("link set lan down");
    m_oInterfaces.LinkStatusChange("lan", false);
    update();
    EXPECT_EQ(m_oRead.at(0), sLanDown);
}

TEST_F(InterfacesTest, ADeviceIsMarkedByEverySignalAboutIt)
{
    addLan();
    ip("link set lan up");
    int iAddress = 0;
    configure({"lan", "peer", "lan"});
    m_oInterfaces.init();
    EXPECT_EQ(update(), "") << "that there is no bus is logged once, and not for each device";
    EXPECT_EQ(m_lChanged, NameList{c_sTable});

    m_oInterfaces.StatusChange("wan", true);
    update();
    EXPECT_EQ(m_lChanged, NameList());

    // Of two devices with one name the first is meant.
    const std::function<void()> aSignals[] = {
        [&] { m_oInterfaces.StatusChange("lan", true); },
        [&] { m_oInterfaces.LinkStatusChange("lan", true); },
        [&] { m_oInterfaces.NewIPv4Address("lan", "192.0.2.1"); },
        [&] { m_oInterfaces.RemovedIPv4Address("lan", "192.0.2.1"); },
        [&] { m_oInterfaces.NewIPv6Address("lan", "fe80::1", 64); },
        [&] { m_oInterfaces.RemovedIPv6Address("lan", "fe80::1", 64); },
    };
    for (const auto& oSignal : aSignals) {
        ip("address flush dev lan");
        ip("address add 192.0.2." + std::to_string(++iAddress) + "/24 dev lan");
        oSignal();
        oSignal();
        update();
        EXPECT_EQ(m_lChanged, NameList{c_sTable});
        EXPECT_EQ(m_oRead.all({"Addr"}), "192.0.2." + std::to_string(iAddress) + " 0.0.0.0 0.0.0.0 ");
        update();
        EXPECT_EQ(m_lChanged, NameList());
    }
}

TEST_F(InterfacesTest, OnlyCountersAreReadWithEachRow)
{
    addLan();
    ip("link set lan up");
    watch({"lan"});
    const int iBefore = number("TxPackets");
    ip("address add 192.0.2.1/24 dev lan");
    sendFrame("lan");
    EXPECT_EQ(number("TxPackets"), iBefore + 1);
    sendFrame("lan");
    EXPECT_EQ(m_oRead.find("Name", "lan", {"TxPackets"}), std::to_string(iBefore + 2));
    EXPECT_EQ(m_oRead.at(0, {"Addr"}), "0.0.0.0");
    m_oInterfaces.NewIPv4Address("lan", "192.0.2.1");
    EXPECT_EQ(m_oRead.at(0, {"Addr"}), "0.0.0.0");
    update();
    EXPECT_EQ(m_oRead.at(0, {"Addr"}), "192.0.2.1");
}

TEST_F(InterfacesTest, OnlineTimeStartsWhenTheDeviceIsSeenGoingUp)
{
    if (!skipTime(1000)) {
        GTEST_SKIP() << "may not make a time namespace";
    }
    addLan();
    ip("link set lan up");
    watch({"lan"});
    EXPECT_LT(number("OnlineTime"), 100);
    skipTime(1000);
    m_oInterfaces.StatusChange("lan", true);
    update();
    EXPECT_GE(number("OnlineTime"), 1000);
    EXPECT_LT(number("OnlineTime"), 1100);

    ip("link set lan down");
    m_oInterfaces.StatusChange("lan", false);
    update();
    EXPECT_EQ(number("OnlineTime"), 0);
    ip("link set lan up");
    m_oInterfaces.StatusChange("lan", true);
    update();
    skipTime(500);
    EXPECT_GE(number("OnlineTime"), 500);
    EXPECT_LT(number("OnlineTime"), 600);
}

TEST_F(InterfacesTest, UnknownColumnsAreSkippedButUnknownKeysAreNot)
{
    watch({"lan", "wan", "wan"});
    EXPECT_EQ(m_oRead.at(1, {"Name", "name", "Id", "Name"}), "wan,2,wan");
    EXPECT_EQ(m_oRead.find("Name", "wan"), "2");
    EXPECT_EQ(m_oRead.find("Id", "3"), "3");
    EXPECT_EQ(m_oRead.find("HwAddr", ""), "code 9");
}

TEST_F(InterfacesTest, ADeviceThatIsConfiguredOrNotStartsTheTimeOnlineOfNoOther)
{
    addLan();
    ip("link set lan up");
    watch({"lan", "peer", "lan"});
    EXPECT_EQ(update(), "");
    const bool bSkipped = skipTime(1000);
    for (int i = 0; i < 2; ++i) {
        configure({"wan", "dmz", "lan", "peer"});
        m_oNetwork.m_oDispatcher.insertRow(this, "StatusNetifConfig", {});
        EXPECT_EQ(logOf([&] { m_oNetwork.m_oDispatcher.sendNotifications(); }),
                  "info Iface Interfaces::notify\n");
        EXPECT_EQ(m_oRead.all({"Id", "Name"}), "1,wan 2,dmz 3,lan 4,peer ");
        for (unsigned iKept : {2U, 3U}) {
            EXPECT_GE(std::stoi(m_oRead.at(iKept, {"OnlineTime"})), bSkipped ? 1000 : 0);
        }
        update();
        EXPECT_EQ(m_lChanged, NameList{c_sTable});
    }
    m_oConfig.m_mResults["selectRow"] = EResultCode::Failure;
    m_oInterfaces.init();
    EXPECT_EQ(m_oRead.count(), "0");
}

TEST_F(InterfacesTest, AConfigurationWithoutEndIsCut)
{
    m_oConfig.m_lRows.assign(zel::Interfaces::c_iMostDevices + 1, row({{"Name", ""}}));
    m_oInterfaces.init();
    EXPECT_EQ(m_oRead.count(), std::to_string(zel::Interfaces::c_iMostDevices));
}

TEST_F(InterfacesTest, LogsGlobalAddressesOfTheProvidersDevice)
{
    configure({"wan"});
    const auto logOfAddress = [&](const char* a_pDevice, const char* a_pAddress) {
        return logOf([&] { m_oInterfaces.NewIPv6Address(a_pDevice, a_pAddress, 64); });
    };
    EXPECT_EQ(logOfAddress("wan", "2001:db8::1"), "status IPv6 Address assigned: 2001:db8::1\n");
    EXPECT_EQ(m_lCalls.back(), "config.selectKey InterfaceMapping LogicalName ProviderInternet PhysicalName");
    EXPECT_EQ(logOfAddress("wan", "fd00::2"), "");
    EXPECT_EQ(logOfAddress("wan", ""), "");
    EXPECT_EQ(logOfAddress("lan", "2001:db8::1"), "");
    m_oConfig.m_mResults["selectKey"] = EResultCode::NoRow;
    EXPECT_EQ(logOfAddress("wan", "2001:db8::1"), "");
}
