#include "status/interfacecounter.h"

#include "tests/logof.h"
#include "tests/unit/status/network.h"
#include "tests/unit/status/tablereader.h"
#include "tests/unit/systema/recordingplugin.h"

using systema::EResultCode;
using systema::NameList;
using tests::row;

namespace {

class InterfaceCounter : public testing::Test
{
protected:
    RecordingPlugin::Calls m_lCalls;
    RecordingPlugin m_oConfig{"config", {"StatusNetifConfig"}, m_lCalls};
    Network m_oNetwork;
    zel::InterfaceCounter m_oCounters{m_oConfig, m_oNetwork.m_oInterfaceStatus, m_oNetwork.m_oIPv4,
                                      m_oNetwork.m_oIPv6};
    TableReader m_oRead{m_oCounters, "NetifCounter"};
};

} // namespace

TEST_F(InterfaceCounter, StartsWithTheConfiguredDevicesThatCanBeRead)
{
    for (const char* pName : {"eth0", "eth1", "ppp0"}) {
        m_oConfig.m_lRows.push_back(row({{"Name", pName}}));
    }
    m_oConfig.m_iMissingRow = 1;
    m_oCounters.init();
    EXPECT_EQ(m_oRead.all({"Name"}), "eth0 ppp0 ");
    EXPECT_EQ(m_oRead.update(), NameList());
}

TEST_F(InterfaceCounter, CountsWithoutConfiguration)
{
    m_oConfig.m_mResults["getSize"] = EResultCode::NoTable;
    EXPECT_EQ(logOf([&] { m_oCounters.init(); }),
              "error NetifCnt Could not get size of table StatusNetifConfig\n");
    m_oCounters.NewIPv4Address("eth0", "192.0.2.1");
    m_oCounters.NewIPv4Address("eth0", "192.0.2.2");
    EXPECT_EQ(m_oRead.all({"Name", "IPv4AddrNew"}), "eth0,2 ");
    EXPECT_EQ(m_oRead.update(), NameList{"NetifCounter"});
    EXPECT_EQ(m_oRead.update(), NameList());
}

TEST_F(InterfaceCounter, CountsAndLogsEachEventInItsOwnColumn)
{
    m_oCounters.NewIPv6Address("x", "::1", 0);
    const struct
    {
        std::function<void()> m_oHappen;
        const char* m_pColumn;
        const char* m_pNews;
        const char* m_pCounter;
    } aEvents[] = {
        {[&] { m_oCounters.StatusChange("eth0", true); }, "Up", "Status of eth0 changed: 1", "up"},
        {[&] { m_oCounters.StatusChange("eth0", false); }, "Down", "Status of eth0 changed: 0", "down"},
        {[&] { m_oCounters.LinkStatusChange("eth0", true); }, "LinkUp", "Link-Status of eth0 changed: 1",
         "linkUp"},
        {[&] { m_oCounters.LinkStatusChange("eth0", false); }, "LinkDown", "Link-Status of eth0 changed: 0",
         "linkDown"},
        {[&] { m_oCounters.NewIPv4Address("eth0", "A"); }, "IPv4AddrNew",
         "IP address of eth0 changed (new): A", "ipv4AddrNew"},
        {[&] { m_oCounters.RemovedIPv4Address("eth0", "A"); }, "IPv4AddrRem",
         "IP address of eth0 changed (rem): A", "ipv4AddrRem"},
        {[&] { m_oCounters.NewIPv6Address("eth0", "A", 64); }, "IPv6AddrNew",
         "IPv6 address of eth0 changed (new): A", "ipv6AddrNew"},
        {[&] { m_oCounters.RemovedIPv6Address("eth0", "A", 64); }, "IPv6AddrRem",
         "IPv6 address of eth0 changed (rem): A", "ipv6AddrRem"},
    };
    for (const auto& [oHappen, pColumn, pNews, pCounter] : aEvents) {
        EXPECT_EQ(m_oRead.find("Name", "eth0", {pColumn}), pColumn == aEvents[0].m_pColumn ? "code 10" : "0");
        EXPECT_EQ(logOf(oHappen), std::string("info NetifCnt ") + pNews + "\ninfo NetifCnt " + pCounter +
                                      "Counter of eth0: 1\n");
        EXPECT_EQ(m_oRead.find("Name", "eth0", {pColumn}), "1");
    }
}

TEST_F(InterfaceCounter, AFirstDownOfAnUnknownDeviceAddsARowAndCountsNothing)
{
    EXPECT_EQ(logOf([&] { m_oCounters.StatusChange("eth0", false); }),
              "info NetifCnt Status of eth0 changed: 0\n");
    EXPECT_EQ(logOf([&] { m_oCounters.LinkStatusChange("eth1", false); }),
              "info NetifCnt Link-Status of eth1 changed: 0\n");
    EXPECT_EQ(m_oRead.all({"Name", "Down", "LinkDown"}), "eth0,0,0 eth1,0,0 ");
    EXPECT_EQ(m_oRead.update(), NameList{"NetifCounter"});

    m_oCounters.StatusChange("eth0", false);
    m_oCounters.LinkStatusChange("eth1", false);
    EXPECT_EQ(m_oRead.all({"Name", "Down", "LinkDown"}), "eth0,1,0 eth1,0,1 ");
}

TEST_F(InterfaceCounter, IsNumberedByReadsOfEitherKind)
{
    m_oCounters.StatusChange("eth0", true);
    m_oCounters.StatusChange("eth1", true);
    EXPECT_EQ(m_oRead.find("Name", "eth1"), "2");
    EXPECT_EQ(m_oRead.all({"Name", "Id"}), "eth0,1 eth1,2 ");
}

TEST_F(InterfaceCounter, EventsOfUnknownDevicesAreBounded)
{
    const auto flood = [&] {
        m_oCounters.StatusChange(std::string(zel::InterfaceCounter::c_iLongestName + 1, 'x'), true);
        for (std::size_t i = 0; i <= zel::InterfaceCounter::c_iMostCounters; ++i) {
            m_oCounters.StatusChange("eth" + std::to_string(i), true);
        }
    };
    const std::string sLog = logOf(flood);
    EXPECT_EQ(sLog.find("is not counted"), sLog.rfind("is not counted"));
    EXPECT_NE(sLog.find("warning NetifCnt"), std::string::npos);
    EXPECT_EQ(m_oRead.count(), std::to_string(zel::InterfaceCounter::c_iMostCounters));
    m_oCounters.StatusChange("eth0", true);
    EXPECT_EQ(m_oRead.find("Name", "eth0", {"Up"}), "2");
}
