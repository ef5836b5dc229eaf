#include "status/interfaces.h"

#include "tests/logof.h"
#include "tests/networknamespace.h"
#include "tests/row.h"
#include "tests/unit/status/network.h"
#include "tests/unit/systema/recordingplugin.h"

#include <fstream>

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
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
    ValueList read(const NameList& a_lColumns, unsigned a_iPosition = 0)
    {
        ValueList lRow;
        EXPECT_EQ(m_oInterfaces.getRow(c_sTable, lRow, a_iPosition, a_lColumns), EResultCode::Success);
        return lRow;
    }
    int number(const char* a_pColumn) { return read({a_pColumn}).getValue(a_pColumn).getInteger(); }
    std::string addr() { return read({"Addr"}).getValue("Addr").getText(); }
    EResultCode findKey(const std::string& a_sColumn, const std::string& a_sValue)
    {
        m_lFound.clear();
        return m_oInterfaces.getRowByKey(c_sTable, m_lFound, a_sColumn, a_sValue, {"Id", "Name"});
    }
    unsigned count()
    {
        unsigned iCount = 0;
        m_oInterfaces.getRowCount(c_sTable, iCount);
        return iCount;
    }

    RecordingPlugin::Calls m_lCalls;
    RecordingPlugin m_oConfig{"config", {"StatusNetifConfig", "InterfaceMapping"}, m_lCalls};
    Network m_oNetwork;
    zel::Interfaces m_oInterfaces{m_oNetwork.m_oDispatcher, m_oNetwork.m_oDispatcher,
                                  m_oNetwork.m_oInterfaceStatus, m_oNetwork.m_oIPv4, m_oNetwork.m_oIPv6};
    NameList m_lChanged;
    ValueList m_lFound;
};

} // namespace

TEST_F(InterfacesTest, ADeviceThatIsDownHasNothingButItsMacAddress)
{
    addLan();
    ip("link set lan up");
    sendFrame("lan");
    ip("link set lan down");
    ip("address add 192.0.2.1/24 brd + dev lan");
    const auto aDown = [&](int a_iId, const char* a_pName, const char* a_pHwAddr) {
        const char* pNone = "0.0.0.0";
        return row({{"Id", a_iId},
                    {"Name", a_pName},
                    {"Addr", pNone},
                    {"BroadAddr", pNone},
                    {"DstAddr", pNone},
                    {"Netmask", pNone},
                    {"HwAddr", a_pHwAddr},
                    {"MTU", 0},
                    {"TxPackets", 0},
                    {"TxBytes", 0},
                    {"RxPackets", 0},
                    {"RxBytes", 0},
                    {"IsUp", 0},
                    {"IsLinkUp", 0},
                    {"OnlineTime", 0},
                    {"IPv6LinkAddrs", 0},
                    {"IPv6SiteAddrs", 0},
                    {"IPv6GlobalAddrs", 0}});
    };
    watch({"lan", "none"});
    EXPECT_EQ(read({}), aDown(1, "lan", "02:00:00:00:00:01"));
    EXPECT_EQ(read({}, 1), aDown(2, "none", ""));

    ip("link set lan up");
    m_oInterfaces.StatusChange("lan", true);
    update();
    EXPECT_EQ(read({"Addr", "BroadAddr", "Netmask", "MTU", "TxPackets", "TxBytes", "IsUp"}),
              row({{"Addr", "192.0.2.1"},
                   {"BroadAddr", "192.0.2.255"},
                   {"Netmask", "255.255.255.0"},
                   {"MTU", 1400},
                   {"TxPackets", 1},
                   {"TxBytes", c_iFrameSize},
                   {"IsUp", 1}}));
    ip("link set lan down");
    m_oInterfaces.LinkStatusChange("lan", false);
    update();
    EXPECT_EQ(read({}), aDown(1, "lan", "02:00:00:00:00:01"));
}

TEST_F(InterfacesTest, OnlyMarkedDevicesAreAskedForAndEachOnce)
{
    addLan();
    configure({"lan", "peer", "lan"});
    m_oInterfaces.init();
    EXPECT_EQ(update(), c_sNoLink + "lan: there is no system bus\n" + c_sNoLink +
                            "peer: there is no system bus\n" + c_sNoLink + "lan: there is no system bus\n");
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
    EXPECT_EQ(m_oInterfaces.getRowByKey(c_sTable, m_lFound, "Name", "lan", {"TxPackets"}),
              EResultCode::Success);
    EXPECT_EQ(m_lFound, row({{"TxPackets", iBefore + 2}}));
    EXPECT_EQ(addr(), "0.0.0.0");
    m_oInterfaces.NewIPv4Address("lan", "192.0.2.1");
    EXPECT_EQ(addr(), "0.0.0.0");
    update();
    EXPECT_EQ(addr(), "192.0.2.1");
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
    EXPECT_EQ(read({"Name", "name", "Id", "Name"}, 1), row({{"Name", "wan"}, {"Id", 2}, {"Name", "wan"}}));
    EXPECT_EQ(read({"name"}), ValueList());

    EXPECT_EQ(findKey("Name", "wan"), EResultCode::Success);
    EXPECT_EQ(m_lFound, row({{"Id", 2}, {"Name", "wan"}}));
    EXPECT_EQ(findKey("Id", " 3rd"), EResultCode::Success);
    EXPECT_EQ(m_lFound, row({{"Id", 3}, {"Name", "wan"}}));
    for (const char* pNumber : {"0", "4", "-1", "4294967297", "abc", ""}) {
        EXPECT_EQ(findKey("Id", pNumber), EResultCode::NoRow) << pNumber;
    }
    EXPECT_EQ(findKey("Name", "dmz"), EResultCode::NoRow);
    EXPECT_EQ(findKey("HwAddr", ""), EResultCode::NoKey);
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
        EXPECT_EQ(read({"Id", "Name"}, 1), row({{"Id", 2}, {"Name", "dmz"}}));
        EXPECT_EQ(count(), 3U);
        update();
        EXPECT_EQ(m_lChanged, NameList{c_sTable});
    }
    m_oConfig.m_mResults["selectRow"] = EResultCode::Failure;
    m_oInterfaces.init();
    EXPECT_EQ(count(), 0U);
}

TEST_F(InterfacesTest, AConfigurationWithoutEndIsCut)
{
    class Endless : public RecordingPlugin
    {
    public:
        using RecordingPlugin::RecordingPlugin;
        EResultCode selectRow(ValueList& a_row, const void*, const std::string&, unsigned int,
                              const NameList&) override
        {
            a_row = row({{"Name", ""}});
            return EResultCode::Success;
        }
    };
    Endless oConfig("config", {}, m_lCalls);
    zel::Interfaces oInterfaces(oConfig, m_oNetwork.m_oDispatcher, m_oNetwork.m_oInterfaceStatus,
                                m_oNetwork.m_oIPv4, m_oNetwork.m_oIPv6);
    oInterfaces.init();
    unsigned iCount = 0;
    oInterfaces.getRowCount(c_sTable, iCount);
    EXPECT_EQ(iCount, zel::Interfaces::c_iMostDevices);
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
