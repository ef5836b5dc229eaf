#include "status/routelist.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::Optional;
using zel::parseRoutes;
using zel::RouteElement;
using zel::RouteEntry;
using zel::UnexpectedJson;

namespace {

/// The one route of the list with these members.
RouteEntry parseRoute(const std::string& a_sMembers)
{
    const auto oElements = parseRoutes("[{" + a_sMembers + "}]");
    return oElements ? std::get<RouteEntry>(oElements->front()) : RouteEntry();
}

} // namespace

TEST(RouteList, EveryElementCountsButOnlyObjectsAreRoutes)
{
    const auto oElements = parseRoutes(R"([
        {"dst":"default","gateway":"192.0.2.1","dev":"eth0","metric":100,"flags":[]},
        null, 1, [{"dst":"nested"}], "default",
        {"nexthops":[{"dev":"eth1"}]} ] what follows)");
    EXPECT_THAT(oElements,
                Optional(ElementsAre(RouteElement(RouteEntry{1, "default", "192.0.2.1", "eth0", 100}),
                                     RouteElement(UnexpectedJson{0}), RouteElement(UnexpectedJson{3}),
                                     RouteElement(UnexpectedJson{5}), RouteElement(UnexpectedJson{6}),
                                     RouteElement(RouteEntry{6, "", "", "eth1", 0}))));
}

TEST(RouteList, ARouteWithSeveralNextHopsIsNotShownAsOneWithoutAny)
{
    // As the tool prints "ip route add 10.3.0.0/16 nexthop via 192.0.2.1 dev lan nexthop dev wan".
    EXPECT_EQ(parseRoute(R"("dst":"10.3.0.0/16","flags":[],"nexthops":[
                  {"gateway":"192.0.2.1","dev":"lan","weight":1,"flags":[]},{"dev":"wan","weight":1,"flags":[]}])"),
              (RouteEntry{1, "10.3.0.0/16", "192.0.2.1", "lan", 0}));
    EXPECT_EQ(
        parseRoute(R"("dst":"10.4.0.0/16","via":{"family":"inet6","host":"fe80::7"},"dev":"lan")").m_sGateway,
        "fe80::7");
    EXPECT_EQ(parseRoute(R"("dst":"default","dev":"lan","nexthops":[])").m_sInterface, "lan");
    EXPECT_EQ(parseRoute(R"("dst":"default","dev":"lan","nexthops":["wan"])").m_sInterface, "lan");
}

TEST(RouteList, MembersOfAnotherTypeAreLeftOut)
{
    EXPECT_EQ(parseRoute(R"("dst":7,"gateway":{},"dev":["eth0"],"metric":"100")"), RouteEntry{1});
    EXPECT_EQ(parseRoute(R"("dst":null,"metric":1.5)"), RouteEntry{1});
    EXPECT_EQ(parseRoute(R"("metric":4294967295)").m_iMetric, 2147483647);
    EXPECT_EQ(parseRoute(R"("metric":-99999999999999999999)").m_iMetric, -2147483648);
    EXPECT_EQ(parseRoute(R"("dst":"10.0.0.0\u0000/8")").m_sDestination, "10.0.0.0");
    EXPECT_EQ(parseRoute("\"dev\":\"\xff\"").m_sInterface, "\xff");
}

TEST(RouteList, WhatIsNoWholeListIsNothing)
{
    EXPECT_TRUE(parseRoutes("[]"));
    const std::string sDeep = std::string(40, '[') + std::string(40, ']');
    for (const std::string& sText :
         {std::string(), std::string("null"), std::string(R"({"dst":"default"})"), std::string("Usage: ip"),
          std::string(R"([{"dst":"default"},)"), std::string("\0[]", 3), sDeep, std::string(10000, '[')}) {
        EXPECT_FALSE(parseRoutes(sText)) << sText;
    }
}
