#include "status/interfaces.h"

#include "tests/logof.h"
#include "tests/networknamespace.h"
#include "tests/unit/status/network.h"
#include "tests/unit/status/tablereader.h"
#include "tests/unit/systema/recordingplugin.h"

#include <fstream>

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
    /// There is no bus here, so each question for a link is a line in the log.
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

} // namespace

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

TEST_F(InterfacesTest, AStartWithoutNetworkServicesIsOneLineInTheLog)
{
    configure({"br0", "br1", "eth0", "wan0"});
    m_oInterfaces.init();
    EXPECT_EQ(update(), c_sNoLink + "br0, br1, eth0, wan0: there is no system bus\n");
    EXPECT_EQ(update(), "");
}

TEST_F(InterfacesTest, OnlyMarkedDevicesAreAskedForAndEachOnce)
{
    addLan();
    configure({"lan", "peer", "lan"});
    m_oInterfaces.init();
    EXPECT_EQ(update(), c_sNoLink + "lan, peer, lan: there is no system bus\n");
    EXPECT_EQ(m_lChanged, NameList{c_sTable});

    m_oInterfaces.StatusChange("wan", true);
    EXPECT_EQ(update(), "");
    EXPECT_EQ(m_lChanged, NameList());

    // A signal is news, though nothing has changed. Of two devices with one name the first is meant.
    const std::function<void()> aSignals[] = {
        [&] { m_oInterfaces.StatusChange("lan", true); },
        [&] { m_oInterfaces.LinkStatusChange("lan", true); },
        [&] { m_oInterfaces.NewIPv4Address("lan", "192.0.2.1"); },
        [&] { m_oInterfaces.RemovedIPv4Address("lan", "192.0.2.1"); },
        [&] { m_oInterfaces.NewIPv6Address("lan", "fe80::1", 64); },
        [&] { m_oInterfaces.RemovedIPv6Address("lan", "fe80::1", 64); },
    };
    for (const auto& oSignal : aSignals) {
        oSignal();
        oSignal();
        EXPECT_EQ(update(), c_sNoLink + "lan: there is no system bus\n");
        EXPECT_EQ(m_lChanged, NameList{c_sTable});
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
    EXPECT_EQ(m_oRead.find("Id", " 3rd"), "3");
    for (const char* pNumber : {"0", "4", "-1", "4294967297", "abc", ""}) {
        EXPECT_EQ(m_oRead.find("Id", pNumber), "code 10") << pNumber;
    }
    EXPECT_EQ(m_oRead.find("HwAddr", ""), "code 9");
}

TEST_F(InterfacesTest, AChangedConfigurationStartsAllDevicesAfresh)
{
    watch({"lan", "wan"});
    EXPECT_EQ(update(), "");
    for (int i = 0; i < 2; ++i) {
        configure({"wan", "dmz", "lan"});
        m_oNetwork.m_oDispatcher.insertRow(this, "StatusNetifConfig", {});
        testing::internal::CaptureStdout();
        m_oNetwork.m_oDispatcher.sendNotifications();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Interfaces::notify\n");
        EXPECT_EQ(m_oRead.all({"Id", "Name"}), "1,wan 2,dmz 3,lan ");
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
