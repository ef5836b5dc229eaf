#include "status/chainlisting.h"

#include "zel/lines.h"

#include <gtest/gtest.h>

namespace {

/// What the listing says of the chain "lanInput".
std::string read(std::string_view a_sListing)
{
    zel::ChainListing oListing("lanInput");
    zel::LineCutter oLines(256, [&](std::string_view a_sLine) { oListing.add(a_sLine); });
    oLines.add(a_sListing);
    oLines.finish();
    return !oListing.isOfChain() ? "another chain"
                                 : std::to_string(oListing.getAccepted()) + " accepted, " +
                                       std::to_string(oListing.getDropped()) + " dropped";
}

constexpr const char* c_pNone = "0 accepted, 0 dropped";

} // namespace

TEST(ChainListing, AddsWhatTheToolPrints)
{
    constexpr std::string_view c_sListing =
        R"(Chain lanInput (1 references)
 pkts bytes target     prot opt in     out     source               destination         
   40  2400 DROP       tcp  --  any    any     localhost            anywhere             tcp dpt:81
  300 25200 ACCEPT     icmp --  any    any     anywhere             anywhere            
    9   900 REJECT     udp  --  any    any     anywhere             anywhere             reject-with icmp-port-unreachable
    5   500 guestInput  all  --  any    any     anywhere             anywhere            
   12M  100M ACCEPT     all  --  any    any     anywhere             anywhere            
  200  100K DROP       all  --  any    any     anywhere             anywhere            
    7   420            all  --  any    any     anywhere             anywhere            
   17  1234 DROP       all  --  any    any     anywhere             anywhere             /* 99 99 DROP */
    1    84 ACCEPT     all  --  any    any     anywhere             anywhere            
)";
    EXPECT_EQ(read(c_sListing), "301 accepted, 57 dropped");
    EXPECT_EQ(read(c_sListing.substr(0, c_sListing.rfind(" all"))), "301 accepted, 57 dropped");
}

TEST(ChainListing, IsOfTheChainThatItNamesWhole)
{
    EXPECT_EQ(read("Chain lanInput (policy ACCEPT 0 packets, 0 bytes)\n"), c_pNone);
    EXPECT_EQ(read("Chain lanInput"), c_pNone);
    for (const char* pOther :
         {"", "\n", "Chain lanInput2 (0 references)", "Chain lanInpu", "Chain wlanInput ", "lanInput",
          "iptables: No chain/target/match by that name.\nChain lanInput "}) {
        EXPECT_EQ(read(std::string(pOther) + "\nheader\n1 1 DROP\n"), "another chain") << pOther;
    }
}

TEST(ChainListing, TakesAnyBytesAndWrapsAt32Bits)
{
    using namespace std::string_view_literals;
    const std::string sHead = "Chain lanInput \nheader\n";
    EXPECT_EQ(read("Chain lanInput \n1 1 DROP\n2 2 DROP"), "0 accepted, 2 dropped")
        << "the header is skipped";
    EXPECT_EQ(read(sHead + "4294967295 1 DROP\n3 1 DROP\n"), "0 accepted, 2 dropped");
    for (const std::string_view sRule :
         {"1\n1 1\nDROP 1 1\nx 1 DROP\n1 x DROP\n1 1 drop\n1 1 DROPS"sv, "1 1\0 DROP"sv}) {
        EXPECT_EQ(read(sHead + std::string(sRule)), c_pNone) << sRule;
    }
}
