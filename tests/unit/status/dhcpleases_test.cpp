#include "status/dhcpleases.h"

#include "tests/logof.h"
#include "tests/unit/status/network.h"
#include "tests/unit/status/tablereader.h"

#include <gmock/gmock.h>

#include <ctime>

using systema::NameList;

namespace {

const std::string c_sLeases = "DhcpLeases";
const std::string c_sIp = "192.0.2.7";
const std::string c_sMac = "02:00:00:00:00:07";

class DhcpLeases : public testing::Test
{
protected:
    /// The IP address of the lease that is found by the key.
    std::string find(const std::string& a_sColumn, const std::string& a_sValue)
    {
        return m_oLeases.find(a_sColumn, a_sValue, {"IpAddress"});
    }

    const NameList m_lNone;
    const NameList m_lChanged{c_sLeases};
    Network m_oNetwork;
    zel::DhcpLeases m_oTables{m_oNetwork.m_oDispatcher, nullptr, 100};
    TableReader m_oLeases{m_oTables, c_sLeases};
    TableReader m_oClients{m_oTables, "DhcpServerClients"};
};

} // namespace

TEST_F(DhcpLeases, RepeatedNewsIsNoChange)
{
    m_oTables.DhcpLeaseAdded(c_sIp, c_sMac, "printer", "maker", 60);
    EXPECT_EQ(m_oLeases.update(), m_lChanged);
    m_oTables.DhcpLeaseAdded(c_sIp, c_sMac, "printer", "maker", 60);
    m_oTables.DhcpLeaseUpdated(c_sIp, c_sMac, "printer", "maker", 60);
    m_oTables.DhcpLeaseUpdated(c_sIp, c_sMac, "printer", "", 60);
    m_oTables.DhcpLeaseDeleted(c_sIp, "02:00:00:00:00:08", "printer", "maker", 60);
    EXPECT_EQ(m_oLeases.update(), m_lNone);
    EXPECT_EQ(m_oLeases.count(), "1");
    EXPECT_EQ(m_oLeases.at(0), "1,0,60," + c_sMac + "," + c_sIp + ",printer,maker,0");

    // The same client with another address is another lease.
    m_oTables.DhcpLeaseUpdated("192.0.2.8", c_sMac, "printer", "", 60);
    EXPECT_EQ(m_oLeases.update(), m_lChanged);
    EXPECT_EQ(m_oLeases.count(), "2");
}

TEST_F(DhcpLeases, AnAcknowledgementReachesBothTablesAndAnnouncesOne)
{
    const auto iBefore = std::time(nullptr);
    EXPECT_EQ(logOf([&] { m_oTables.DhcpLeaseAcked(c_sIp, c_sMac, "printer", "maker", 4294967295); }),
              "status DHCP Client registered 192.0.2.7 02:00:00:00:00:07 -1\n");
    const std::string sAcked = m_oLeases.at(0, {"Acked"});
    EXPECT_GE(std::stol(sAcked), iBefore);
    EXPECT_LE(std::stol(sAcked), std::time(nullptr));
    EXPECT_EQ(m_oClients.at(0, {"Acked"}), sAcked);
    EXPECT_EQ(m_oLeases.update(), m_lChanged);

    m_oTables.DhcpLeaseAdded(c_sIp, c_sMac, "printer", "other", 60);
    m_oTables.DhcpLeaseUpdated(c_sIp, c_sMac, "scanner", "", 60);
    EXPECT_EQ(m_oLeases.at(0, {"Acked"}), sAcked);
    EXPECT_EQ(m_oLeases.at(0, {"Vendor"}), "other");
    EXPECT_EQ(m_oClients.at(0, {"HostName"}), "printer") << "only an acknowledgement changes a client";

    m_oTables.DhcpLeaseAcked(c_sIp, c_sMac, "scanner", "", 60);
    EXPECT_EQ(m_oLeases.at(0, {"Vendor"}), "");
    EXPECT_EQ(m_oClients.at(0, {"Vendor"}), "");
    EXPECT_EQ(m_oClients.count(), "1");
}

TEST_F(DhcpLeases, ADeletionReachesBothTablesAndAnnouncesLeasesOnly)
{
    m_oTables.DhcpLeaseAcked(c_sIp, c_sMac, "printer", "maker", 60);
    m_oTables.DhcpLeaseAdded("192.0.2.8", c_sMac, "printer", "maker", 60);
    m_oLeases.update();
    EXPECT_EQ(logOf([&] { m_oTables.DhcpLeaseDeleted(c_sIp, c_sMac, "", "", 4294967295); }),
              "info DhcpLeases Lease deleted: 192.0.2.7, 02:00:00:00:00:07, , , 4294967295\n");
    EXPECT_EQ(m_oLeases.count(), "1");
    EXPECT_EQ(m_oClients.count(), "0");
    EXPECT_EQ(m_oLeases.update(), m_lChanged);
    EXPECT_THAT(
        logOf([&] { m_oTables.DhcpLeaseDeleted(c_sIp, c_sMac, "", "", 0); }),
        testing::EndsWith("\ninfo DhcpLeases There was no lease of 192.0.2.7 for 02:00:00:00:00:07\n"));
}

TEST_F(DhcpLeases, TheIdIsThePositionAtWhichTheRowWasFirstSeen)
{
    m_oTables.DhcpLeaseAdded(c_sIp, c_sMac, "", "", 60);
    m_oTables.DhcpLeaseAdded("192.0.2.8", c_sMac, "", "", 60);
    EXPECT_EQ(find("Id", "2"), "192.0.2.8") << "a key numbers what nobody has read";
    EXPECT_EQ(find("Id", "0"), "code 10");

    // Deleting moves the rows, but not their numbers; a lease that is told anew gets a new one.
    m_oTables.DhcpLeaseDeleted(c_sIp, c_sMac, "", "", 60);
    EXPECT_EQ(find("Id", "2"), "192.0.2.8");
    m_oTables.DhcpLeaseUpdated("192.0.2.8", c_sMac, "", "", 61);
    EXPECT_EQ(find("Id", "2"), "code 10");
    EXPECT_EQ(find("Id", "1"), "192.0.2.8");
}

TEST_F(DhcpLeases, AnyOtherNameMeansTheClients)
{
    m_oTables.DhcpLeaseAcked(c_sIp, c_sMac, "printer", "maker", 60);
    m_oTables.DhcpLeaseAdded("192.0.2.8", c_sMac, "printer", "maker", 60);
    EXPECT_EQ(TableReader(m_oTables, "NoSuchTable").all({"IpAddress"}), c_sIp + " ");
}

TEST_F(DhcpLeases, KeysAreTheCellsAsTheyAreShown)
{
    m_oTables.DhcpLeaseAcked(c_sIp, c_sMac, "printer", "maker", 4294967295);
    EXPECT_EQ(m_oLeases.at(0, {"Expires"}), "-1"); // the column is signed
    EXPECT_EQ(find("Expires", "-1"), c_sIp);
    EXPECT_EQ(find("Expires", "4294967295"), "code 10");
    EXPECT_EQ(find("HostName", "Printer"), "code 10");
    EXPECT_EQ(find("Acked", m_oLeases.at(0, {"Acked"})), "code 10");
}

TEST_F(DhcpLeases, SignalsCannotFillTheMemory)
{
    const std::string sLog = logOf([&] {
        for (std::size_t i = 0; i <= zel::DhcpLeases::c_iMostLeases; ++i) {
            m_oTables.DhcpLeaseAcked(std::to_string(i), c_sMac, "", "", 0);
        }
        m_oTables.DhcpLeaseUpdated("0", c_sMac, std::string(zel::DhcpLeases::c_iLongestTexts, 'x'), "", 0);
    });
    EXPECT_EQ(m_oLeases.count(), std::to_string(zel::DhcpLeases::c_iMostLeases));
    EXPECT_EQ(m_oClients.count(), m_oLeases.count());
    EXPECT_EQ(m_oLeases.at(0, {"HostName"}), "");
    EXPECT_NE(sLog.find("warning DhcpLeases"), std::string::npos);
    EXPECT_EQ(sLog.find("is not kept"), sLog.rfind("is not kept"));

    m_oTables.DhcpLeaseUpdated("0", c_sMac, "still told", "", 0);
    EXPECT_EQ(m_oLeases.at(0, {"HostName"}), "still told");
}
