#include "status/dslstatus.h"

#include "tests/unit/device/systemroot.h"
#include "tests/unit/status/tablereader.h"

using systema::NameList;

namespace {

const std::string c_sStable = "StatusDsl";
const std::string c_sRealtime = "StatusDslRealtime";
constexpr const char* c_pVdsl2AnnexB = "0000000000000002";
constexpr const char* c_pAdsl2PlusAnnexB = "0000000000040000";

class DslStatus : public testing::Test
{
protected:
    void line(const std::string& a_sState, unsigned a_iUpstream, unsigned a_iDownstream,
              const std::string& a_sSystem)
    {
        m_oRoot.write("/var/run/ledgerd-sim.json", R"({"dsl":{"state":")" + a_sState +
                                                       R"(","upstream-rate":)" + std::to_string(a_iUpstream) +
                                                       R"(,"downstream-rate":)" +
                                                       std::to_string(a_iDownstream) +
                                                       R"(,"transmission-system":")" + a_sSystem + R"("}})");
    }
    const NameList m_lNone;
    const NameList m_lBoth{c_sStable, c_sRealtime};
    SystemRoot m_oRoot;
    zel::DslStatus m_oTables;
    TableReader m_oStable{m_oTables, c_sStable};
    TableReader m_oRealtime{m_oTables, c_sRealtime};
};

} // namespace

TEST_F(DslStatus, ShowtimeAndItsEndConcernBothTables)
{
    line("showtime", 40000, 100000, c_pVdsl2AnnexB);
    EXPECT_EQ(m_oStable.update(), m_lBoth);
    EXPECT_EQ(m_oStable.update(), m_lNone);
    line("showtime", 40001, 100000, c_pVdsl2AnnexB);
    EXPECT_EQ(m_oStable.update(), m_lBoth);
    line("showtime", 40001, 100001, c_pVdsl2AnnexB);
    EXPECT_EQ(m_oStable.update(), m_lBoth);
    line("showtime", 40001, 100001, c_pAdsl2PlusAnnexB);
    EXPECT_EQ(m_oStable.update(), m_lBoth);

    // What the library still says of rates and mode does not count without showtime.
    line("idle", 40001, 100001, c_pAdsl2PlusAnnexB);
    EXPECT_EQ(m_oStable.update(), m_lBoth);
    line("handshake", 40001, 100001, c_pAdsl2PlusAnnexB);
    EXPECT_EQ(m_oStable.update(), NameList{c_sRealtime});
    EXPECT_EQ(m_oRealtime.at(0, {"Status"}), "2");
    EXPECT_EQ(m_oStable.at(0), "1,,1,idle,0,0") << "the state that ended showtime";
    EXPECT_EQ(m_oStable.update(), m_lNone);
}

TEST_F(DslStatus, TheStateAtTheStartIsShownButNotAnnounced)
{
    line("showtime", 1, 4294967295, c_pVdsl2AnnexB);
    m_oTables.init();
    EXPECT_EQ(m_oStable.at(0, {"Status"}), "4");
    EXPECT_EQ(m_oRealtime.at(0, {"ActualDataRateDS"}), "-1") << "32 bits, signed";
    EXPECT_EQ(m_oStable.update(), m_lNone);
}
