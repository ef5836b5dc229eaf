#include "status/iproute.h"

#include "tests/logof.h"
#include "tests/unit/status/fakeip.h"
#include "tests/unit/status/tablereader.h"

#include <gmock/gmock.h>

using systema::NameList;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

const std::string c_sIPv4 = "RouteIPv4";
const std::string c_sIPv6 = "RouteIPv6";

class IPRoute : public testing::Test
{
protected:
    FakeIp m_oIp;
    zel::Tool::Clock::time_point m_oNow{};
    zel::Tool::Clock::duration m_oStep{}; // which each look at the clock takes
    zel::IPRoute m_oRoutes{zel::Tool([this] { return m_oNow += m_oStep; }, std::chrono::seconds(2))};
    TableReader m_oIPv4{m_oRoutes, c_sIPv4};
    TableReader m_oIPv6{m_oRoutes, c_sIPv6};
};

} // namespace

TEST_F(IPRoute, ARouteWithoutDestinationLeavesAGapInTheIds)
{
    m_oIp.lists("-4", R"([{"dst":"default","gateway":"192.0.2.1","dev":"eth0","metric":7},{"dev":"eth1"},1,
                          {"dst":"10.0.0.0/8","metric":"7"}])");
    EXPECT_EQ(logOf([&] { m_oRoutes.init(); }), "error IPROUTE Unexpected data format. JSON type:3\n");
    EXPECT_EQ(m_oIp.takeRuns(), "-4 -j route list\n-6 -j route list\n");
    EXPECT_EQ(m_oIPv4.count(), "2");

    EXPECT_EQ(m_oIPv4.find("Id", "2"), "code 10");
    EXPECT_EQ(m_oIPv4.find("Id", "4", {"Destination", "Gateway", "Interface", "Metric"}), "10.0.0.0/8,,,0");
    EXPECT_EQ(m_oIPv4.at(1, {"Id"}), "2") << "a read by position numbers the row anew";
    EXPECT_EQ(m_oIPv4.find("Id", "4"), "code 10");
}

TEST_F(IPRoute, AFailedReadEmptiesTheTableAndIsRepeatedAtEveryUpdate)
{
    m_oIp.lists("-6", R"([{"dst":"default"}])");
    m_oRoutes.init();
    EXPECT_EQ(m_oIPv6.count(), "1");
    m_oRoutes.RemovedIPv6Route("", 0, "", "");
    m_oIp.behaves("exit 3");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(logOf([&] { EXPECT_EQ(m_oIPv4.update(), NameList()); }),
                  "error IPROUTE ZEL_Execute_Command failed with 3\n");
    }
    EXPECT_EQ(m_oIPv6.count(), "0");
    m_oIp.lists("-6", "Error: no list");
    EXPECT_EQ(logOf([&] { EXPECT_EQ(m_oIPv4.update(), NameList()); }), "") << "this is not even logged";
    m_oIp.lists("-6", R"([{"dst":"default"}])");
    EXPECT_EQ(m_oIPv4.update(), NameList{c_sIPv6});
    EXPECT_EQ(m_oIPv6.count(), "1");
}

TEST_F(IPRoute, AListBeyondTheBufferIsLoggedOnceAndOnceMoreWhenItIsOver)
{
    const auto logOfSize = [&](std::size_t a_iSize, const NameList& a_lChanged) {
        const std::string sList = R"([{"dst":"default"}])";
        m_oIp.lists("-6", sList.substr(0, sList.size() - 1) + std::string(a_iSize - sList.size(), ' ') + "]");
        return logOf([&] { EXPECT_EQ(m_oIPv4.update(), a_lChanged); });
    };
    m_oRoutes.NewIPv6Route("", 0, "", "");
    EXPECT_EQ(logOfSize(100, {c_sIPv6}), "");
    m_oRoutes.NewIPv6Route("", 0, "", "");
    EXPECT_EQ(logOfSize(20000, {}),
              "error IPROUTE RouteIPv6 stays empty: the list of routes has 20000 bytes, "
              "of which 10240 are read\n");
    EXPECT_EQ(m_oIPv6.count(), "0");
    EXPECT_EQ(logOfSize(10241, {}), "");
    EXPECT_EQ(logOfSize(10240, {c_sIPv6}),
              "info IPROUTE RouteIPv6 has its routes again: the list has 10240 bytes\n");
    EXPECT_EQ(m_oIPv6.count(), "1");
    m_oRoutes.NewIPv6Route("", 0, "", "");
    EXPECT_NE(logOfSize(10241, {}), "") << "it is said anew";
}

TEST_F(IPRoute, AFailedFirstReadIsNotRepeatedWithoutASignal)
{
    m_oIp.behaves("test \"$1\" = -6 && echo []");
    EXPECT_EQ(logOf([&] { m_oRoutes.init(); }), "error IPROUTE ZEL_Execute_Command failed with 1\n"
                                                "error IPROUTE Error while initializing IPv4 route cache\n");
    m_oIp.lists("-4", R"([{"dst":"default"}])");
    EXPECT_EQ(m_oIPv4.update(), NameList());
    EXPECT_EQ(m_oIPv4.count(), "0");
    m_oRoutes.RemovedIPv4Route("", 0, "", "", "", 0);
    EXPECT_EQ(m_oIPv4.update(), NameList{c_sIPv4});
}

TEST_F(IPRoute, AToolThatHangsIsKilledAndLeftAloneForAWhile)
{
    m_oRoutes.NewIPv4Route("", 0, "", "", "", 0);
    m_oRoutes.NewIPv6Route("", 0, "", "");
    m_oIp.behaves("sleep 600");
    EXPECT_EQ(logOf([&] { EXPECT_EQ(m_oIPv4.update(), NameList()); }),
              "error IPROUTE ZEL_Execute_Command failed with 124\n");
    EXPECT_EQ(m_oIp.takeRuns(), "-4 -j route list\n");

    m_oIp.lists("-4", "[]");
    m_oNow += zel::Tool::c_oHangWait - std::chrono::seconds(1);
    EXPECT_EQ(m_oIPv4.update(), NameList());
    EXPECT_EQ(m_oIp.takeRuns(), "");
    m_oNow += std::chrono::seconds(1);
    EXPECT_EQ(m_oIPv4.update(), (NameList{c_sIPv6, c_sIPv4})) << "the other family is not kept waiting again";
}

TEST_F(IPRoute, AFamilyThatIsAlwaysSlowDoesNotKeepTheOtherFromBeingRead)
{
    m_oIp.behaves("echo []");
    m_oStep = zel::Tool::c_oTurn / 4; // a turn is over once one family was read
    m_oRoutes.setChanged();
    EXPECT_EQ(m_oIPv4.update(), NameList{c_sIPv4});
    m_oRoutes.NewIPv4Route("", 0, "", "", "", 0);
    EXPECT_EQ(m_oIPv4.update(), NameList{c_sIPv6});
    EXPECT_EQ(m_oIPv4.update(), NameList{c_sIPv4});
}

TEST_F(IPRoute, LinesNameTheSourceFileWithItsExtension)
{
    for (const char* pTool : {"exit 3", "printf '[%20000s]'", "echo [1]"}) {
        m_oIp.behaves(pTool);
        EXPECT_THAT(logLinesOf([&] { m_oRoutes.init(); }),
                    AllOf(Not(IsEmpty()), Each(HasSubstr(" IPROUTE iproute.cpp:"))));
    }
}
