#include "status/dslstatus.h"

#include "tests/row.h"
#include "tests/unit/device/systemroot.h"

#include <gtest/gtest.h>

using systema::NameList;
using systema::ValueList;
using tests::row;

namespace {

const std::string c_sStable = "StatusDsl";
const std::string c_sRealtime = "StatusDslRealtime";
constexpr const char* c_pVdsl2AnnexB = "0000000000000002";
constexpr const char* c_pAdsl2PlusAnnexB = "0000000000040000";

class DslStatus : public testing::Test
{
protected:
    void line(const std::string& a_sState, unsigned a_iUpstream = 0, unsigned a_iDownstream = 0,
              const std::string& a_sSystem = "")
    {
        m_oRoot.write("/var/run/ledgerd-sim.json", R"({"dsl":{"state":")" + a_sState +
                                                       R"(","upstream-rate":)" + std::to_string(a_iUpstream) +
                                                       R"(,"downstream-rate":)" +
                                                       std::to_string(a_iDownstream) +
                                                       R"(,"transmission-system":")" + a_sSystem + R"("}})");
    }
    NameList update()
    {
        NameList lChanged;
        m_oTables.update(lChanged);
        return lChanged;
    }
    ValueList read(const std::string& a_sTable, const NameList& a_lColumns = {})
    {
        ValueList lRow;
        EXPECT_EQ(m_oTables.getRow(a_sTable, lRow, 0, a_lColumns), systema::EResultCode::Success);
        return lRow;
    }
    int status(const std::string& a_sTable)
    {
        return read(a_sTable, {"Status"}).getValue("Status").getInteger();
    }

    const NameList m_lNone;
    const NameList m_lBoth{c_sStable, c_sRealtime};
    SystemRoot m_oRoot;
    zel::DslStatus m_oTables;
};

} // namespace

TEST_F(DslStatus, ShowtimeAndItsEndConcernBothTables)
{
    line("showtime", 40000, 100000, c_pVdsl2AnnexB);
    EXPECT_EQ(update(), m_lBoth);
    EXPECT_EQ(update(), m_lNone);
    line("showtime", 40001, 100000, c_pVdsl2AnnexB);
    EXPECT_EQ(update(), m_lBoth);
    line("showtime", 40001, 100001, c_pVdsl2AnnexB);
    EXPECT_EQ(update(), m_lBoth);
    line("showtime", 40001, 100001, c_pAdsl2PlusAnnexB);
    EXPECT_EQ(update(), m_lBoth);

    // What the library still says of rates and mode does not count without showtime.
    line("idle", 40001, 100001, c_pAdsl2PlusAnnexB);
    EXPECT_EQ(update(), m_lBoth);
    line("handshake", 40001, 100001, c_pAdsl2PlusAnnexB);
    EXPECT_EQ(update(), NameList{c_sRealtime});
    EXPECT_EQ(status(c_sRealtime), 2);
    EXPECT_EQ(read(c_sStable), row({{"Id", 1},
                                    {"XdslMode", ""},
                                    {"Status", 1},
                                    {"StatusString", "idle"},
                                    {"ActualDataRateUS", 0},
                                    {"ActualDataRateDS", 0}}))
        << "the state that ended showtime";
    EXPECT_EQ(update(), m_lNone);
}

TEST_F(DslStatus, TheStateAtTheStartIsShownButNotAnnounced)
{
    line("showtime", 1, 4294967295, c_pVdsl2AnnexB);
    m_oTables.init();
    EXPECT_EQ(status(c_sStable), 4);
    EXPECT_EQ(read(c_sRealtime, {"ActualDataRateDS"}), row({{"ActualDataRateDS", -1}})); // 32 bits, signed
    EXPECT_EQ(update(), m_lNone);
}
