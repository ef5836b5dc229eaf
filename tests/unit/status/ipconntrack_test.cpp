#include "status/ipconntrack.h"

#include "systema/configdispatcher.h"
#include "tests/logof.h"
#include "tests/unit/status/tablereader.h"
#include "tests/unit/systema/recordingplugin.h"
#include "tests/unit/zel/tempdir.h"

#include <gmock/gmock.h>

#include <fstream>
#include <malloc.h>
#include <unistd.h>
#include <utility>

using systema::EResultCode;
using systema::ValueList;
using tests::row;

namespace {

const std::string c_sTable = "IpConntrack";

// As a kernel printed them.
const std::string c_sSynSent =
    "ipv4     2 tcp      6 119 SYN_SENT src=192.168.5.20 dst=203.0.113.77 sport=52144 dport=80 [UNREPLIED] "
    "src=203.0.113.77 dst=198.51.100.1 sport=80 dport=52144 mark=0 zone=0 use=2\n";
const std::string c_sIcmp =
    "ipv4     2 icmp     1 29 src=192.168.5.20 dst=203.0.113.77 type=8 code=0 id=1 [UNREPLIED] "
    "src=203.0.113.77 dst=198.51.100.1 type=0 code=0 id=1 mark=0 zone=0 use=2\n";
const std::string c_sDns =
    "ipv4     2 udp      17 29 src=192.168.5.20 dst=203.0.113.53 sport=59321 dport=53 [UNREPLIED] "
    "src=203.0.113.53 dst=198.51.100.1 sport=53 dport=59321 mark=0 zone=0 use=2\n";
const std::string c_sStream =
    "ipv4     2 udp      17 117 src=192.168.5.20 dst=203.0.113.5 sport=5000 dport=5001 "
    "src=203.0.113.5 dst=198.51.100.1 sport=5001 dport=5000 [ASSURED] mark=0 zone=0 use=2\n";

std::string udp(const std::string& a_sSource, const std::string& a_sDestination)
{
    return "ipv4 2 udp 17 29 src=" + a_sSource + " dst=" + a_sDestination + " sport=1 dport=2 use=2\n";
}

/// So many connections of the LAN's clients.
std::string flood(int a_iCount)
{
    std::string sLines;
    for (int i = 0; i < a_iCount; ++i) {
        sLines +=
            "ipv4     2 udp      17 29 src=192.168.5.20 dst=203.0.113.53 sport=" + std::to_string(i) +
            " dport=53 [UNREPLIED] src=203.0.113.53 dst=198.51.100.1 sport=53 dport=" + std::to_string(i) +
            " mark=0 zone=0 use=2\n";
    }
    return sLines;
}

/// The resident memory of this process, in KiB.
long memory()
{
    long iSize = 0;
    long iResident = 0;
    std::ifstream("/proc/self/statm") >> iSize >> iResident;
    return iResident * (::sysconf(_SC_PAGESIZE) / 1024);
}

/// Takes so many rows, and keeps a text of each.
class RowTaker : public systema::IRowSink
{
public:
    explicit RowTaker(std::size_t a_iMost) : m_iMost(a_iMost) {}

    void addNull() override { m_sRow += "null,"; }
    void addInteger(int a_iValue) override { m_sRow += std::to_string(a_iValue) + ","; }
    void addUnsigned(unsigned int a_iValue) override { m_sRow += std::to_string(a_iValue) + ","; }
    void addText(std::string_view a_sText) override { m_sRow.append(a_sText) += ","; }
    bool endRow() override
    {
        m_lRows.push_back(std::exchange(m_sRow, ""));
        return m_lRows.size() < m_iMost;
    }

    std::vector<std::string> m_lRows;

private:
    const std::size_t m_iMost;
    std::string m_sRow;
};

class IpConntrackTest : public testing::Test
{
protected:
    IpConntrackTest()
    {
        m_oDispatcher.attachTables(m_oLogical);
        m_oDispatcher.attachTables(m_oWatch);
        m_oLogical.m_lRows = {row({{"Interface", "br0"}})};
        m_oWatch.m_lRows = {
            row({{"Addr", "192.168.5.1"}, {"BroadAddr", "192.168.5.255"}, {"Netmask", "255.255.255.0"}})};
    }

    /// The kernel has these connections, and those from before are too old to be served.
    void track(const std::string& a_sLines)
    {
        writeFile(m_sPath, a_sLines);
        m_iNow += 6;
    }
    void learnLan()
    {
        m_oConntrack.init();
        tellOfInterfaces();
    }
    void tellOfInterfaces()
    {
        m_oDispatcher.insertRow(this, "StatusNetifWatch", {});
        m_oDispatcher.sendNotifications();
    }
    const TempDir m_oDir;
    const std::string m_sPath = m_oDir.file("nf_conntrack");
    std::time_t m_iNow = 1000;
    RecordingPlugin::Calls m_lCalls;
    RecordingPlugin m_oLogical{"logical", {"StatusNetifWatchLogical"}, m_lCalls};
    RecordingPlugin m_oWatch{"watch", {"StatusNetifWatch"}, m_lCalls};
    systema::ConfigDispatcher m_oDispatcher;
    zel::IpConntrack m_oConntrack{m_oDispatcher, m_oDispatcher, [this] { return m_iNow; }, m_sPath};
    TableReader m_oRead{m_oConntrack, c_sTable};
};

} // namespace

TEST_F(IpConntrackTest, TheKeyIdIsTheLineAsTheColumnIsAndNotThePosition)
{
    track(c_sIcmp + c_sSynSent + c_sIcmp + c_sDns);
    EXPECT_EQ(m_oRead.find("Id", "4"), "4");
    for (const char* pNumber : {"1", "3", "0", "-1", "x"}) {
        EXPECT_EQ(m_oRead.find("Id", pNumber), "code 10") << pNumber;
    }
    EXPECT_EQ(m_oRead.find("DstPort", "53"), "4");
    EXPECT_EQ(m_oRead.find("SrcAddress", "192.168.5.20"), "2") << "the first of two";
}

TEST_F(IpConntrackTest, SixSecondsAreServedFromOneRead)
{
    track(c_sDns);
    EXPECT_EQ(m_oRead.count(), "1");
    writeFile(m_sPath, c_sDns + c_sStream);
    m_iNow += 5;
    EXPECT_EQ(m_oRead.count(), "1");
    EXPECT_EQ(m_oRead.find("DstPort", "5001"), "code 10");
    m_iNow += 1;
    EXPECT_EQ(m_oRead.find("DstPort", "5001"), "2");
}

TEST_F(IpConntrackTest, AListThatCannotBeReadFailsEveryRequestUntilItCan)
{
    track(c_sDns);
    EXPECT_EQ(m_oRead.count(), "1");
    std::filesystem::remove(m_sPath);
    m_iNow += 6;
    const std::string sLine = "error IpConn Could not open file: " + m_sPath + "\n";
    EXPECT_EQ(logOf([&] {
                  EXPECT_EQ(m_oRead.count(), "code 1");
                  EXPECT_EQ(m_oRead.at(0), "code 1");
                  EXPECT_EQ(m_oRead.find("id", "1"), "code 1");
              }),
              sLine + sLine + sLine);
    EXPECT_THAT(logLinesOf([&] { m_oRead.count(); }),
                testing::Each(testing::StartsWith("error   IpConn ipconntrack.cpp:")));
    writeFile(m_sPath, c_sStream);
    EXPECT_EQ(m_oRead.count(), "1");
}

TEST_F(IpConntrackTest, TakesWhatALineHas)
{
    m_oWatch.m_lRows = {row({{"Addr", "none"}})}; // lets anything pass
    learnLan();
    track("\nipv4 2 udp 17\nipv4 2  tcp 4294967302 -7s SYN=A=B 10.0.0.1 dst= sport= 5 6\n" +
          std::string(600, 'x') + "\n= = udp = = src=10.0.0.2 dst=10.0.0.3 sport=7 ");
    EXPECT_EQ(m_oRead.count(), "3");
    EXPECT_EQ(m_oRead.at(0), "2,udp,0,0,,,,0,0,0,0") << "its last text is no token";
    EXPECT_EQ(m_oRead.at(1), "3,tcp,6,-7,A=B,10.0.0.1,,0,5,0,0");
    EXPECT_EQ(m_oRead.at(2), "6,udp,0,0,,10.0.0.2,10.0.0.3,7,0,0,0") << "after a line in two pieces";
}

TEST_F(IpConntrackTest, AListThatIsCutIsLoggedOnce)
{
    const int iLast = zel::ConnectionReading::c_iMostLines;
    const std::string sFull = std::string(iLast - 1, '\n') + c_sDns;
    const auto logOfCount = [&](const std::string& a_sLines) {
        track(a_sLines);
        return logOf([&] { EXPECT_EQ(m_oRead.count(), "1"); });
    };
    EXPECT_EQ(logOfCount(sFull), "");
    const std::string sLine = "error IpConn " + m_sPath + " is too long, only its first " +
                              std::to_string(iLast) + " lines are served\n";
    EXPECT_EQ(logOfCount(sFull + c_sDns), sLine);
    EXPECT_EQ(logOfCount(sFull + c_sDns), "");
    EXPECT_EQ(m_oRead.at(0, {"Id"}), std::to_string(iLast));
    EXPECT_EQ(logOfCount(c_sDns), "");
    EXPECT_EQ(logOfCount(sFull + "\n"), sLine);
}

TEST_F(IpConntrackTest, OnlyANotificationTellsOfTheLan)
{
    const std::string sLines = udp("192.168.5.20", "203.0.113.1") + udp("192.168.5.1", "203.0.113.1") +
                               udp("192.168.5.21", "192.168.5.1") + udp("192.168.6.20", "203.0.113.1") +
                               udp("2001:0db8::20", "2001:0db8::77");
    track(sLines);
    m_oConntrack.init();
    m_oConntrack.init();
    EXPECT_EQ(m_oRead.all({"SrcAddress"}),
              "192.168.5.20 192.168.5.1 192.168.5.21 192.168.6.20 2001:0db8::20 ");
    EXPECT_EQ(m_lCalls, RecordingPlugin::Calls());

    tellOfInterfaces();
    m_lCalls.erase(m_lCalls.begin()); // the change itself
    EXPECT_EQ(m_lCalls,
              (RecordingPlugin::Calls{"logical.selectKey StatusNetifWatchLogical Name LocalLAN Interface",
                                      "watch.selectKey StatusNetifWatch Name br0 Addr, BroadAddr, Netmask"}));
    EXPECT_EQ(m_oRead.count(), "5") << "what was read before is not filtered again";
    track(sLines);
    EXPECT_EQ(m_oRead.all({"SrcAddress"}), "192.168.5.20 ");

    m_oWatch.m_lRows = {row({{"Addr", "192.168.6.1"}, {"BroadAddr", ""}, {"Netmask", "255.255.255.0"}})};
    track(sLines);
    EXPECT_EQ(m_oRead.all({"SrcAddress"}), "192.168.5.20 ") << "nobody told of the new address";
    tellOfInterfaces();
    track(sLines);
    EXPECT_EQ(m_oRead.all({"SrcAddress"}), "192.168.6.20 ");
}

TEST_F(IpConntrackTest, AddressingThatCannotBeReadIsTriedElevenTimesAndStays)
{
    learnLan();
    const auto callsOfNotification = [&] {
        m_lCalls.clear();
        tellOfInterfaces();
        return m_lCalls.size() - 1;
    };
    m_oWatch.m_mResults["selectKey"] = EResultCode::NoRow;
    EXPECT_EQ(callsOfNotification(), 1U + 11U);
    m_oLogical.m_mResults["selectKey"] = EResultCode::Failure;
    EXPECT_EQ(callsOfNotification(), 11U);
    track(udp("192.168.5.20", "203.0.113.1") + udp("192.168.6.20", "203.0.113.1"));
    EXPECT_EQ(m_oRead.all({"SrcAddress"}), "192.168.5.20 ");

    // Rows that lack what is asked for are no addressing: anything passes but what lacks its own addresses.
    m_oLogical.m_mResults.clear();
    m_oWatch.m_mResults.clear();
    m_oLogical.m_lRows = m_oWatch.m_lRows = {ValueList()};
    tellOfInterfaces();
    track(udp("192.168.5.20", "203.0.113.1") + udp("192.168.6.20", "203.0.113.1") + "ipv4 2 udp 17 29 \n");
    EXPECT_EQ(m_oRead.all({"SrcAddress"}), "192.168.5.20 192.168.6.20 ");
}

TEST_F(IpConntrackTest, AFloodOfConnectionsIsReadInTurns)
{
    // A slice is over after each piece of the file.
    zel::IpConntrack oConntrack(
        m_oDispatcher, m_oDispatcher, [this] { return m_iNow; }, m_sPath, std::chrono::milliseconds(0));
    TableReader oRead(oConntrack, c_sTable);
    track(flood(400)); // 58 KiB
    unsigned iCount = 0;
    std::unique_ptr<systema::IRowCursor> pRows;
    ValueList lRow;
    EXPECT_EQ(oConntrack.getRowCount(c_sTable, iCount), EResultCode::Pending);
    EXPECT_EQ(oConntrack.getRow(c_sTable, lRow, 0, {}), EResultCode::Pending);
    EXPECT_EQ(oConntrack.getRowByKey(c_sTable, lRow, "Id", "1", {}), EResultCode::Pending);
    EXPECT_EQ(oConntrack.openRows(pRows, c_sTable, 0, systema::c_iAllRows, {}), EResultCode::Pending);
    EXPECT_EQ(oRead.count(), "400");
    EXPECT_EQ(oRead.at(399, {"SrcPort"}), "399");

    // A list that nobody waited for any more is not gone on with: it would be of two times.
    track(flood(400));
    EXPECT_EQ(oConntrack.getRowCount(c_sTable, iCount), EResultCode::Pending);
    oRead.update();
    oRead.update();
    track(c_sDns);
    EXPECT_EQ(oRead.count(), "1");
}

TEST_F(IpConntrackTest, ABulkReadNeverMixesTwoLists)
{
    std::unique_ptr<systema::IRowCursor> pRows;
    track(c_sDns + c_sStream + c_sDns);
    ASSERT_EQ(m_oConntrack.openRows(pRows, c_sTable, 1, 5, {"Id", "DstPort"}), EResultCode::Success);
    RowTaker oTaker(1);
    EXPECT_EQ(pRows->fetch(oTaker), EResultCode::Success);
    track(c_sStream);
    EXPECT_EQ(pRows->fetch(oTaker), EResultCode::NoRow) << "the list is only old";
    EXPECT_EQ(oTaker.m_lRows, (std::vector<std::string>{"2,5001,", "3,53,"}));
    ASSERT_EQ(m_oConntrack.openRows(pRows, c_sTable, 0, systema::c_iAllRows, {}), EResultCode::Success);
    track(c_sDns);
    EXPECT_EQ(m_oRead.count(), "1");
    EXPECT_EQ(pRows->fetch(oTaker), EResultCode::Busy);
    EXPECT_EQ(m_oConntrack.openRows(pRows, c_sTable, 0, 1, {"Id", "none"}), EResultCode::NoKey);
}

TEST_F(IpConntrackTest, AFloodOfConnectionsTakesLittleMemoryAndGivesItBack)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer keeps memory of its own";
#endif
    track(c_sDns);
    EXPECT_EQ(m_oRead.count(), "1");
    {
        const std::string sFlood = flood(65536);
        writeFile(m_sPath, sFlood);
    }
    ::malloc_trim(0);
    const long iBefore = memory();
    m_iNow += 6;
    EXPECT_EQ(m_oRead.count(), "65536");
    EXPECT_LT(memory() - iBefore, 6 * 1024);
    m_oRead.update();
    EXPECT_EQ(m_oRead.at(65535, {"SrcPort"}), "65535");
    m_oRead.update();
    m_iNow += 6;
    m_oRead.update();
    EXPECT_LT(memory() - iBefore, 1024) << "six seconds after the last read";
}
