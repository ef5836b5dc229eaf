#include "status/firewall.h"

#include "tests/logof.h"
#include "tests/unit/status/faketool.h"
#include "tests/unit/status/tablereader.h"
#include "tests/unit/systema/recordingplugin.h"

#include <algorithm>

using namespace std::chrono_literals;
using systema::EResultCode;
using tests::row;

namespace {

class Firewall : public testing::Test
{
protected:
    void setZones(const std::vector<std::string>& a_lNames)
    {
        m_oConfig.m_lRows.clear();
        for (const auto& sName : a_lNames) {
            m_oConfig.m_lRows.push_back(row({{"ZoneName", sName.c_str()}}));
        }
    }
    /// From now on every chain but "goneInput" has one rule, which accepted so many packets.
    void accepts(int a_iPackets)
    {
        m_oTool.behaves("test $2 != goneInput || exit 1; printf 'Chain %s (1 references)\\nheader\\n" +
                        std::to_string(a_iPackets) + " 100 ACCEPT all\\n' $2");
    }
    FakeTool m_oTool{"iptables"};
    RecordingPlugin::Calls m_lCalls;
    RecordingPlugin m_oConfig{"config", {"FirewallZones"}, m_lCalls};
    zel::Tool::Clock::time_point m_oNow{};
    zel::Tool::Clock::duration m_oStep{}; // which each look at the clock takes
    zel::Firewall m_oTable{m_oConfig, zel::Tool([this] { return m_oNow += m_oStep; }, 20s, 20s)};
    TableReader m_oRead{m_oTable, ""};
};

} // namespace

TEST_F(Firewall, ListsEachChainAtEachReadAndLeavesNoGapForOneThatIsGone)
{
    setZones({"lan", "gone", "wan"});
    accepts(3);
    EXPECT_EQ(m_oRead.count(), "2");
    EXPECT_EQ(m_oTool.takeRuns(), "-L lanInput -v\n-L goneInput -v\n-L wanInput -v\n");
    accepts(4);
    EXPECT_EQ(m_oRead.at(1), "2,wanInput,4,0");
    accepts(5);
    EXPECT_EQ(m_oRead.find("Chain", "wanInput", {"PktAccept", "Id"}), "5,2");
}

TEST_F(Firewall, AZoneNameThatIsNotPlainReachesNoShellAndIsLoggedOnce)
{
    const TempDir oDir;
    const std::string sTouch = "touch " + oDir.file("x");
    accepts(1);
    setZones({"a;" + sTouch + ";", "$(" + sTouch + ")", "a\n" + sTouch + "\n", "-F", "a b", "\xc3\xa4",
              std::string(5000, 'a'), "Lan-1_.x", "-F"});
    const std::string sLog = logOf([&] { EXPECT_EQ(m_oRead.count(), "1"); });
    EXPECT_EQ(std::ranges::count(sLog, '\n'), 7) << sLog;
    EXPECT_NE(sLog.find("error Firewall The zone name \"-F\" is not plain\n"), std::string::npos) << sLog;
    EXPECT_EQ(m_oTool.takeRuns(), "-L Lan-1_.xInput -v\n");
    EXPECT_FALSE(std::filesystem::exists(oDir.file("x")));

    EXPECT_EQ(logOf([&] { m_oRead.count(); }), "");
    setZones({"lan", "-F", "`id`"});
    EXPECT_EQ(logOf([&] { m_oRead.count(); }), "error Firewall The zone name \"`id`\" is not plain\n");
}

TEST_F(Firewall, AToolThatHangsIsKilledAndLeftAloneForAWhile)
{
    zel::Firewall oTable(m_oConfig, zel::Tool([this] { return m_oNow; }, 1s, 20s));
    TableReader oRead(oTable, "");
    setZones({"lan", "wan"});
    m_oTool.behaves("printf 'Chain lanInput \\n'; sleep 600");
    EXPECT_EQ(logOf([&] { EXPECT_EQ(oRead.count(), "code 1"); }), "error Firewall iptables takes too long\n");
    EXPECT_EQ(m_oTool.takeRuns(), "-L lanInput -v\n");
    accepts(1);
    m_oNow += zel::Tool::c_oHangWait - 1s;
    EXPECT_EQ(logOf([&] {
                  EXPECT_EQ(oRead.at(0), "code 1");
                  EXPECT_EQ(oRead.find("Id", "1"), "code 1");
              }),
              "");
    EXPECT_EQ(m_oTool.takeRuns(), "");
    m_oNow += 1s;
    EXPECT_EQ(oRead.count(), "2");
}

TEST_F(Firewall, ASlowToolIsWaitedForInTheBackgroundWhileSomebodyAsks)
{
    zel::Firewall oTable(m_oConfig, zel::Tool([this] { return m_oNow; }, 20s, 0s));
    TableReader oRead(oTable, "");
    const TempDir oDir;
    const std::string sGo = oDir.file("go");
    setZones({"a", "b", "c"});
    m_oTool.behaves("until test -e " + sGo + "; do sleep 0.01; done; echo \"Chain $2 \"");
    const auto isPending = [&] {
        unsigned iCount = 0;
        return oTable.getRowCount("", iCount) == EResultCode::Pending;
    };
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(isPending());
    }
    m_oNow += zel::Firewall::c_oSlow;
    writeFile(sGo, "");
    EXPECT_EQ(oRead.count(), "3");
    EXPECT_EQ(oRead.all({"Chain"}), "aInput bInput cInput ");
    EXPECT_EQ(m_oTool.takeRuns(), "-L aInput -v\n-L bInput -v\n-L cInput -v\n")
        << "a slow list is served for a second";

    m_oNow += 1s;
    std::filesystem::remove(sGo);
    ASSERT_TRUE(isPending());
    oRead.update();
    ASSERT_TRUE(isPending()) << "it was asked for since the last update";
    oRead.update();
    oRead.update();
    m_oTool.takeRuns();
    writeFile(sGo, "");
    EXPECT_EQ(oRead.count(), "3");
    EXPECT_EQ(m_oTool.takeRuns(), "-L aInput -v\n-L bInput -v\n-L cInput -v\n") << "nobody waited";
}

TEST_F(Firewall, ManyReadersShareARoundAndLeaveAsMuchTimeToOthers)
{
    setZones({"lan"});
    accepts(1);
    m_oStep = 10ms;
    EXPECT_EQ(m_oRead.count(), "1");
    m_oStep = {};
    unsigned iCount = 0;
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(m_oTable.getRowCount("", iCount), EResultCode::Pending);
    }
    EXPECT_EQ(m_oTool.takeRuns(), "-L lanInput -v\n");
    accepts(2);
    m_oStep = 10ms;
    EXPECT_EQ(m_oRead.at(0), "1,lanInput,2,0");
    m_oStep = {};
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(m_oTable.getRowCount("", iCount), EResultCode::Success);
    }
    EXPECT_EQ(m_oTool.takeRuns(), "-L lanInput -v\n");
    m_oNow += 1s;
    accepts(3);
    EXPECT_EQ(m_oRead.at(0), "1,lanInput,3,0");
}

TEST_F(Firewall, AMissingToolIsLoggedOnceUntilItIsThere)
{
    for (int i = 0; i < 2; ++i) {
        m_oTool.behaves("exit 127");
        EXPECT_EQ(
            logOf([&] {
                for (const auto& lZones : {std::vector<std::string>{"lan", "wan"}, {}, {"lan", "wan"}}) {
                    setZones(lZones);
                    EXPECT_EQ(m_oRead.count(), "0");
                }
            }),
            "error Firewall iptables cannot be run\n");
        accepts(1);
        EXPECT_EQ(logOf([&] { EXPECT_EQ(m_oRead.count(), "2"); }), "");
    }
}

TEST_F(Firewall, SumsOfHalfAListingAreNotShown)
{
    setZones({"lan", "wan"});
    for (const char* pEnd : {"exit 1", "exit 4", "kill -9 $$"}) {
        accepts(1);
        EXPECT_EQ(m_oRead.count(), "2");
        m_oTool.behaves(std::string("printf 'Chain %s (1 references)\\nheader\\n' $2; ") + pEnd);
        const std::string sLog = logOf([&] {
            EXPECT_EQ(m_oRead.count(), "code 1");
            EXPECT_EQ(m_oRead.at(0), "code 1");
        });
        EXPECT_TRUE(sLog.starts_with("error Firewall iptables fails with status ")) << sLog;
        EXPECT_EQ(std::ranges::count(sLog, '\n'), 1);
    }
}

TEST_F(Firewall, ZonesThatCannotBeReadAreNoEmptyTable)
{
    setZones({"lan", "-F"});
    accepts(1);
    EXPECT_EQ(m_oRead.count(), "1");
    m_oTool.takeRuns();
    EXPECT_EQ(logOf([&] {
                  for (const auto eCode : {EResultCode::Busy, EResultCode::Locked, EResultCode::Failure}) {
                      m_oConfig.m_mResults["selectRow"] = eCode;
                      EXPECT_EQ(m_oRead.count(), "code 1");
                      EXPECT_EQ(m_oRead.at(0), "code 1");
                  }
                  m_oConfig.m_mResults["selectRow"] = EResultCode::NoTable;
                  EXPECT_EQ(m_oRead.count(), "0");
                  EXPECT_EQ(m_oTool.takeRuns(), "");
                  m_oConfig.m_mResults.clear();
                  EXPECT_EQ(m_oRead.count(), "1");
              }),
              "error Firewall The zone name \"-F\" is not plain\n"); // which was gone with its table
}
