#include "status/dhcpleases.h"

#include "tests/logof.h"
#include "tests/row.h"
#include "tests/unit/status/network.h"

#include <gtest/gtest.h>

#include <ctime>

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using tests::row;

namespace {

const std::string c_sLeases = "DhcpLeases";
const std::string c_sClients = "DhcpServerClients";
const std::string c_sIp = "192.0.2.7";
const std::string c_sMac = "02:00:00:00:00:07";

class DhcpLeases : public testing::Test
{
protected:
    unsigned count(const std::string& a_sTable)
    {
        unsigned iCount = 0;
        m_oTables.getRowCount(a_sTable, iCount);
        return iCount;
    }
    ValueList read(const std::string& a_sTable, unsigned a_iPosition, const NameList& a_lColumns)
    {
        ValueList lRow;
        EXPECT_EQ(m_oTables.getRow(a_sTable, lRow, a_iPosition, a_lColumns), EResultCode::Success);
        return lRow;
    }
    std::string cell(const std::string& a_sTable, const std::string& a_sColumn)
    {
        return read(a_sTable, 0, {a_sColumn}).getValue(a_sColumn).toText();
    }
    /// The IP address of the lease that is found by the key, else the code.
    std::string find(const std::string& a_sColumn, const std::string& a_sValue)
    {
        ValueList lRow;
        const EResultCode eCode = m_oTables.getRowByKey(c_sLeases, lRow, a_sColumn, a_sValue, {"IpAddress"});
        return eCode == EResultCode::Success ? lRow.getValue("IpAddress").getText() : std::to_string(eCode);
    }
    NameList update()
    {
        NameList lChanged;
        m_oTables.update(lChanged);
        return lChanged;
    }

    const NameList m_lNone;
    const NameList m_lChanged{c_sLeases};
    Network m_oNetwork;
    zel::DhcpLeases m_oTables{m_oNetwork.m_oDispatcher, nullptr, 100};
};

} // namespace

TEST_F(DhcpLeases, RepeatedNewsIsNoChange)
{
    m_oTables.DhcpLeaseAdded(c_sIp, c_sMac, "printer", "maker", 60);
    EXPECT_EQ(update(), m_lChanged);
    m_oTables.DhcpLeaseAdded(c_sIp, c_sMac, "printer", "maker", 60);
    m_oTables.DhcpLeaseUpdated(c_sIp, c_sMac, "printer", "maker", 60);
    m_oTables.DhcpLeaseUpdated(c_sIp, c_sMac, "printer", "", 60);
    m_oTables.DhcpLeaseDeleted(c_sIp, "02:00:00:00:00:08", "printer", "maker", 60);
    EXPECT_EQ(update(), m_lNone);
    EXPECT_EQ(count(c_sLeases), 1U);
    EXPECT_EQ(read(c_sLeases, 0, {}), row({{"Id", 1},
                                           {"Instance", 0},
                                           {"Expires", 60},
                                           {"MacAddress", c_sMac.c_str()},
                                           {"IpAddress", c_sIp.c_str()},
                                           {"HostName", "printer"},
                                           {"Vendor", "maker"},
                                           {"Acked", 0}}));

    // The same client with another address is another lease.
    m_oTables.DhcpLeaseUpdated("192.0.2.8", c_sMac, "printer", "", 60);
    EXPECT_EQ(update(), m_lChanged);
    EXPECT_EQ(count(c_sLeases), 2U);
}

TEST_F(DhcpLeases, AnAcknowledgementReachesBothTablesAndAnnouncesOne)
{
    const auto iBefore = std::time(nullptr);
    EXPECT_EQ(logOf([&] { m_oTables.DhcpLeaseAcked(c_sIp, c_sMac, "printer", "maker", 4294967295); }),
              "status DHCP Client registered 192.0.2.7 02:00:00:00:00:07 -1\n");
    for (const auto& sTable : {c_sLeases, c_sClients}) {
        EXPECT_GE(std::stol(cell(sTable, "Acked")), iBefore);
        EXPECT_LE(std::stol(cell(sTable, "Acked")), std::time(nullptr));
    }
    EXPECT_EQ(update(), m_lChanged);

    const std::string sAcked = cell(c_sLeases, "Acked");
    m_oTables.DhcpLeaseAdded(c_sIp, c_sMac, "printer", "other", 60);
    m_oTables.DhcpLeaseUpdated(c_sIp, c_sMac, "scanner", "", 60);
    EXPECT_EQ(cell(c_sLeases, "Acked"), sAcked);
    EXPECT_EQ(cell(c_sLeases, "Vendor"), "other");
    EXPECT_EQ(cell(c_sClients, "HostName"), "printer") << "only an acknowledgement changes a client";

    m_oTables.DhcpLeaseAcked(c_sIp, c_sMac, "scanner", "", 60);
    EXPECT_EQ(cell(c_sLeases, "Vendor"), "");
    EXPECT_EQ(cell(c_sClients, "Vendor"), "");
    EXPECT_EQ(count(c_sClients), 1U);
}

TEST_F(DhcpLeases, ADeletionReachesBothTablesAndAnnouncesLeasesOnly)
{
    m_oTables.DhcpLeaseAcked(c_sIp, c_sMac, "printer", "maker", 60);
    m_oTables.DhcpLeaseAdded("192.0.2.8", c_sMac, "printer", "maker", 60);
    update();
    EXPECT_EQ(logOf([&] { m_oTables.DhcpLeaseDeleted(c_sIp, c_sMac, "", "", 4294967295); }),
              "info DhcpLeases Lease deleted: 192.0.2.7, 02:00:00:00:00:07, , , 4294967295\n");
    EXPECT_EQ(count(c_sLeases), 1U);
    EXPECT_EQ(count(c_sClients), 0U);
    EXPECT_EQ(update(), m_lChanged);
}

TEST_F(DhcpLeases, TheIdIsThatOfTheLastReadByPosition)
{
    m_oTables.DhcpLeaseAdded(c_sIp, c_sMac, "", "", 60);
    m_oTables.DhcpLeaseAdded("192.0.2.8", c_sMac, "", "", 60);
    EXPECT_EQ(find("Id", "2"), "10");
    EXPECT_EQ(find("Id", "no number"), c_sIp) << "unread rows have the number 0";
    read(c_sLeases, 0, {});
    read(c_sLeases, 1, {});
    EXPECT_EQ(find("Id", "2"), "192.0.2.8");

    // Deleting moves the rows, but not their numbers; a lease that is told anew loses its own.
    m_oTables.DhcpLeaseDeleted(c_sIp, c_sMac, "", "", 60);
    EXPECT_EQ(find("Id", "2"), "192.0.2.8");
    m_oTables.DhcpLeaseUpdated("192.0.2.8", c_sMac, "", "", 61);
    EXPECT_EQ(find("Id", "2"), "10");
    EXPECT_EQ(find("Id", "0"), "192.0.2.8");
}

TEST_F(DhcpLeases, AnyOtherNameMeansTheClients)
{
    m_oTables.DhcpLeaseAcked(c_sIp, c_sMac, "printer", "maker", 60);
    m_oTables.DhcpLeaseAdded("192.0.2.8", c_sMac, "printer", "maker", 60);
    EXPECT_EQ(count("NoSuchTable"), 1U);
    EXPECT_EQ(cell("NoSuchTable", "IpAddress"), c_sIp);
}

TEST_F(DhcpLeases, KeysAreNumbersOrExactTexts)
{
    m_oTables.DhcpLeaseAcked(c_sIp, c_sMac, "printer", "maker", 4294967295);
    EXPECT_EQ(cell(c_sLeases, "Expires"), "-1"); // the column is signed
    EXPECT_EQ(find("Expires", "-1s"), c_sIp);
    EXPECT_EQ(find("Instance", "none"), c_sIp);
    EXPECT_EQ(find("HostName", "Printer"), "10");
    EXPECT_EQ(find("Acked", cell(c_sLeases, "Acked")), "10");
}

TEST_F(DhcpLeases, SignalsCannotFillTheMemory)
{
    const std::string sLog = logOf([&] {
        for (std::size_t i = 0; i <= zel::DhcpLeases::c_iMostLeases; ++i) {
            m_oTables.DhcpLeaseAcked(std::to_string(i), c_sMac, "", "", 0);
        }
        m_oTables.DhcpLeaseUpdated("0", c_sMac, std::string(zel::DhcpLeases::c_iLongestTexts, 'x'), "", 0);
    });
    EXPECT_EQ(count(c_sLeases), zel::DhcpLeases::c_iMostLeases);
    EXPECT_EQ(count(c_sClients), zel::DhcpLeases::c_iMostLeases);
    EXPECT_EQ(cell(c_sLeases, "HostName"), "");
    EXPECT_NE(sLog.find("warning DhcpLeases"), std::string::npos);
    EXPECT_EQ(sLog.find("is not kept"), sLog.rfind("is not kept"));

    m_oTables.DhcpLeaseUpdated("0", c_sMac, "still told", "", 0);
    EXPECT_EQ(cell(c_sLeases, "HostName"), "still told");
}
