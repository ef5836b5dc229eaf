#include "status/interfacecounter.h"

#include "tests/logof.h"
#include "tests/row.h"
#include "tests/unit/status/network.h"
#include "tests/unit/systema/recordingplugin.h"

#include <gtest/gtest.h>

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using tests::row;

namespace {

/// Cannot read its second row.
class Config : public RecordingPlugin
{
public:
    using RecordingPlugin::RecordingPlugin;

    EResultCode selectRow(ValueList& a_row, const void* a_handle, const std::string& a_table,
                          unsigned int a_index, const NameList& a_columns) override
    {
        return a_index == 1 ? EResultCode(EResultCode::Failure)
                            : RecordingPlugin::selectRow(a_row, a_handle, a_table, a_index, a_columns);
    }
};

class InterfaceCounter : public testing::Test
{
protected:
    /// The columns "Name" and those named, of all rows; by position.
    std::vector<std::string> rows(const NameList& a_lColumns = {})
    {
        std::vector<std::string> lRows;
        NameList lWanted = a_lColumns;
        ValueList lRow;
        while (m_oCounters.getRow("NetifCounter", lRow, static_cast<unsigned>(lRows.size()), {"Name"}) ==
               EResultCode::Success) {
            ValueList lCounts;
            m_oCounters.getRow("NetifCounter", lCounts, static_cast<unsigned>(lRows.size()), a_lColumns);
            std::string sText = lRow.getValue("Name").getText();
            for (const auto& sColumn : a_lColumns) {
                sText += " " + lCounts.getValue(sColumn).toText();
            }
            lRows.push_back(sText);
            lRow.clear();
        }
        return lRows;
    }
    NameList update()
    {
        NameList lChanged;
        m_oCounters.update(lChanged);
        return lChanged;
    }

    RecordingPlugin::Calls m_lCalls;
    Config m_oConfig{"config", {"StatusNetifConfig"}, m_lCalls};
    Network m_oNetwork;
    zel::InterfaceCounter m_oCounters{m_oConfig, m_oNetwork.m_oInterfaceStatus, m_oNetwork.m_oIPv4,
                                      m_oNetwork.m_oIPv6};
};

using Names = std::vector<std::string>;

} // namespace

TEST_F(InterfaceCounter, StartsWithTheConfiguredDevicesThatCanBeRead)
{
    for (const char* pName : {"eth0", "eth1", "ppp0"}) {
        m_oConfig.m_lRows.push_back(row({{"Name", pName}}));
    }
    m_oCounters.init();
    EXPECT_EQ(rows(), (Names{"eth0", "ppp0"}));
    EXPECT_EQ(update(), NameList());
}

TEST_F(InterfaceCounter, CountsWithoutConfiguration)
{
    m_oConfig.m_mResults["getSize"] = EResultCode::NoTable;
    EXPECT_EQ(logOf([&] { m_oCounters.init(); }),
              "error NetifCnt Could not get size of table StatusNetifConfig\n");
    m_oCounters.NewIPv4Address("eth0", "192.0.2.1");
    m_oCounters.NewIPv4Address("eth0", "192.0.2.2");
    EXPECT_EQ(rows({"IPv4AddrNew"}), Names{"eth0 2"});
    EXPECT_EQ(update(), NameList{"NetifCounter"});
    EXPECT_EQ(update(), NameList());
}

TEST_F(InterfaceCounter, CountsAndLogsEachEventInItsOwnColumn)
{
    m_oCounters.NewIPv6Address("x", "::1", 0);
    struct Event
    {
        std::function<void()> m_oHappen;
        const char* m_pColumn;
        const char* m_pLog;
    };
    const std::string sDevice = "eth0";
    const Event aEvents[] = {
        {[&] { m_oCounters.StatusChange(sDevice, true); }, "Up",
         "info NetifCnt Status of eth0 changed: 1\ninfo NetifCnt upCounter of eth0: 1\n"},
        {[&] { m_oCounters.StatusChange(sDevice, false); }, "Down",
         "info NetifCnt Status of eth0 changed: 0\ninfo NetifCnt downCounter of eth0: 1\n"},
        {[&] { m_oCounters.LinkStatusChange(sDevice, true); }, "LinkUp",
         "info NetifCnt Link-Status of eth0 changed: 1\ninfo NetifCnt linkUpCounter of eth0: 1\n"},
        {[&] { m_oCounters.LinkStatusChange(sDevice, false); }, "LinkDown",
         "info NetifCnt Link-Status of eth0 changed: 0\ninfo NetifCnt linkDownCounter of eth0: 1\n"},
        {[&] { m_oCounters.NewIPv4Address(sDevice, "A"); }, "IPv4AddrNew",
         "info NetifCnt IP address of eth0 changed (new): A\ninfo NetifCnt ipv4AddrNewCounter of eth0: 1\n"},
        {[&] { m_oCounters.RemovedIPv4Address(sDevice, "A"); }, "IPv4AddrRem",
         "info NetifCnt IP address of eth0 changed (rem): A\ninfo NetifCnt ipv4AddrRemCounter of eth0: 1\n"},
        {[&] { m_oCounters.NewIPv6Address(sDevice, "A", 64); }, "IPv6AddrNew",
         "info NetifCnt IPv6 address of eth0 changed (new): A\n"
         "info NetifCnt ipv6AddrNewCounter of eth0: 1\n"},
        {[&] { m_oCounters.RemovedIPv6Address(sDevice, "A", 64); }, "IPv6AddrRem",
         "info NetifCnt IPv6 address of eth0 changed (rem): A\n"
         "info NetifCnt ipv6AddrRemCounter of eth0: 1\n"},
    };
    NameList lColumns;
    std::string sExpected = sDevice;
    for (const auto& oEvent : aEvents) {
        EXPECT_EQ(logOf(oEvent.m_oHappen), oEvent.m_pLog);
        lColumns.add(oEvent.m_pColumn);
        sExpected += " 1";
        EXPECT_EQ(rows(lColumns)[1], sExpected);
    }
}

TEST_F(InterfaceCounter, AFirstDownOfAnUnknownDeviceAddsARowAndCountsNothing)
{
    EXPECT_EQ(logOf([&] { m_oCounters.StatusChange("eth0", false); }),
              "info NetifCnt Status of eth0 changed: 0\n");
    EXPECT_EQ(logOf([&] { m_oCounters.LinkStatusChange("eth1", false); }),
              "info NetifCnt Link-Status of eth1 changed: 0\n");
    EXPECT_EQ(rows({"Down", "LinkDown"}), (Names{"eth0 0 0", "eth1 0 0"}));
    EXPECT_EQ(update(), NameList{"NetifCounter"});

    m_oCounters.StatusChange("eth0", false);
    m_oCounters.LinkStatusChange("eth1", false);
    EXPECT_EQ(rows({"Down", "LinkDown"}), (Names{"eth0 1 0", "eth1 0 1"}));
}

TEST_F(InterfaceCounter, IsNumberedByReadsByPosition)
{
    m_oCounters.StatusChange("eth0", true);
    m_oCounters.StatusChange("eth1", true);
    const auto idByKey = [&] {
        ValueList lRow;
        EXPECT_EQ(m_oCounters.getRowByKey("NetifCounter", lRow, "Name", "eth1", {"Id"}),
                  EResultCode::Success);
        return lRow.getValue("Id").getInteger();
    };
    EXPECT_EQ(idByKey(), 0);
    EXPECT_EQ(rows({"Id"}), (Names{"eth0 1", "eth1 2"}));
    EXPECT_EQ(idByKey(), 2);
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
    unsigned iCount = 0;
    m_oCounters.getRowCount("NetifCounter", iCount);
    EXPECT_EQ(iCount, zel::InterfaceCounter::c_iMostCounters);
    m_oCounters.StatusChange("eth0", true);
    EXPECT_EQ(rows({"Up"})[0], "eth0 2");
}
