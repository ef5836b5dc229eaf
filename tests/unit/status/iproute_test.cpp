#include "status/iproute.h"

#include "tests/logof.h"
#include "tests/row.h"
#include "tests/unit/status/fakeip.h"

#include <gtest/gtest.h>

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using tests::row;

namespace {

const std::string c_sIPv4 = "RouteIPv4";
const std::string c_sIPv6 = "RouteIPv6";

class IPRoute : public testing::Test
{
protected:
    unsigned count(const std::string& a_sTable)
    {
        unsigned iCount = 0;
        EXPECT_EQ(m_oRoutes.getRowCount(a_sTable, iCount), EResultCode::Success);
        return iCount;
    }
    NameList update()
    {
        NameList lChanged;
        m_oRoutes.update(lChanged);
        return lChanged;
    }
    void signalIPv4() { m_oRoutes.NewIPv4Route("", 0, "", "", "", 0); }
    void signalIPv6() { m_oRoutes.RemovedIPv6Route("", 0, "", ""); }

    FakeIp m_oIp;
    zel::IPRoute::Clock::time_point m_oNow{};
    zel::IPRoute m_oRoutes{[this] { return m_oNow; }};
};

} // namespace

TEST_F(IPRoute, ARouteWithoutDestinationLeavesAGapInTheIds)
{
    m_oIp.lists("-4", R"([{"dst":"default","gateway":"192.0.2.1","dev":"eth0","metric":7},{"dev":"eth1"},1,
                          {"dst":"10.0.0.0/8","metric":"7"}])");
    EXPECT_EQ(logOf([&] { m_oRoutes.init(); }), "error IPROUTE Unexpected data format. JSON type:3\n");
    EXPECT_EQ(m_oIp.takeRuns(), "-4 -j route list\n-6 -j route list\n");
    EXPECT_EQ(count(c_sIPv4), 2U);

    const auto findById = [&](const char* a_pId) {
        ValueList lRow;
        return m_oRoutes.getRowByKey(c_sIPv4, lRow, "Id", a_pId, {}) == EResultCode::Success ? lRow : row({});
    };
    EXPECT_EQ(findById("2"), row({}));
    EXPECT_EQ(
        findById("4"),
        row({{"Id", 4}, {"Destination", "10.0.0.0/8"}, {"Gateway", ""}, {"Interface", ""}, {"Metric", 0}}));
    ValueList lRow;
    EXPECT_EQ(m_oRoutes.getRow(c_sIPv4, lRow, 1, {"Id"}), EResultCode::Success);
    EXPECT_EQ(lRow, row({{"Id", 2}})) << "a read by position numbers the row anew";
    EXPECT_EQ(findById("4"), row({}));
}

TEST_F(IPRoute, ManySignalsAreOneReadOfTheirFamily)
{
    m_oRoutes.init();
    m_oIp.takeRuns();
    EXPECT_EQ(update(), NameList());
    for (int i = 0; i < 5; ++i) {
        signalIPv4();
        m_oRoutes.RemovedIPv4Route("", 0, "", "", "", 0);
    }
    EXPECT_EQ(update(), NameList{c_sIPv4});
    EXPECT_EQ(update(), NameList());
    EXPECT_EQ(m_oIp.takeRuns(), "-4 -j route list\n");
    m_oRoutes.NewIPv6Route("", 0, "", "");
    signalIPv4();
    EXPECT_EQ(update(), (NameList{c_sIPv4, c_sIPv6}));
    signalIPv6();
    EXPECT_EQ(update(), NameList{c_sIPv6});
}

TEST_F(IPRoute, AFailedReadEmptiesTheTableAndIsRepeatedAtEveryUpdate)
{
    m_oIp.lists("-6", R"([{"dst":"default"}])");
    m_oRoutes.init();
    EXPECT_EQ(count(c_sIPv6), 1U);
    signalIPv6();
    m_oIp.behaves("exit 3");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(logOf([&] { EXPECT_EQ(update(), NameList()); }),
                  "error IPROUTE ZEL_Execute_Command failed with 3\n");
    }
    EXPECT_EQ(count(c_sIPv6), 0U);
    // What cannot be read as a list is not even logged, nor is a list beyond the buffer.
    m_oIp.lists("-6", "Error: no list");
    EXPECT_EQ(logOf([&] { EXPECT_EQ(update(), NameList()); }), "");
    const auto listOfSize = [](std::size_t a_iSize) {
        const std::string sList = R"([{"dst":"default"}])";
        return sList.substr(0, sList.size() - 1) + std::string(a_iSize - sList.size(), ' ') + "]";
    };
    m_oIp.lists("-6", listOfSize(10241));
    EXPECT_EQ(logOf([&] { EXPECT_EQ(update(), NameList()); }), "");
    m_oIp.lists("-6", listOfSize(10240));
    EXPECT_EQ(update(), NameList{c_sIPv6});
    EXPECT_EQ(count(c_sIPv6), 1U);
}

TEST_F(IPRoute, AFailedFirstReadIsNotRepeatedWithoutASignal)
{
    m_oIp.behaves("test \"$1\" = -6 && echo []");
    EXPECT_EQ(logOf([&] { m_oRoutes.init(); }), "error IPROUTE ZEL_Execute_Command failed with 1\n"
                                                "error IPROUTE Error while initializing IPv4 route cache\n");
    m_oIp.lists("-4", R"([{"dst":"default"}])");
    EXPECT_EQ(update(), NameList());
    EXPECT_EQ(count(c_sIPv4), 0U);
    signalIPv4();
    EXPECT_EQ(update(), NameList{c_sIPv4});
}

TEST_F(IPRoute, AToolThatHangsIsKilledAndLeftAloneForAWhile)
{
    signalIPv4();
    signalIPv6();
    m_oIp.behaves("sleep 600");
    EXPECT_EQ(logOf([&] { EXPECT_EQ(update(), NameList()); }),
              "error IPROUTE ZEL_Execute_Command failed with 124\n");
    EXPECT_EQ(m_oIp.takeRuns(), "-4 -j route list\n");

    m_oIp.lists("-4", "[]");
    m_oNow += zel::IPRoute::c_oHangWait - std::chrono::seconds(1);
    EXPECT_EQ(update(), NameList());
    EXPECT_EQ(m_oIp.takeRuns(), "");
    m_oNow += std::chrono::seconds(1);
    EXPECT_EQ(update(), (NameList{c_sIPv4, c_sIPv6}));
}

TEST_F(IPRoute, UnknownTableIsRefusedByEveryRead)
{
    unsigned iCount = 0;
    ValueList lRow;
    systema::ColumnList lColumns;
    EXPECT_EQ(m_oRoutes.getSchema(lColumns, "RouteIPv5"), EResultCode::NoTable);
    EXPECT_EQ(m_oRoutes.getRowCount("RouteIPv5", iCount), EResultCode::NoTable);
    EXPECT_EQ(m_oRoutes.getRow("RouteIPv5", lRow, 0, {}), EResultCode::NoTable);
    EXPECT_EQ(m_oRoutes.getRowByKey("RouteIPv5", lRow, "Id", "1", {}), EResultCode::NoTable);
}
