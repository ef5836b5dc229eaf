#include "zel/ipaddresses.h"

#include "tests/networknamespace.h"

#include <sstream>

using zel::net::EIPv6Scope;
using zel::net::IPAddresses;
using zel::net::IPv6Address;

namespace {

using IPAddressesTest = NetworkTest;
using Addresses = std::vector<IPv6Address>;

} // namespace

TEST(IPv6AddressText, IsSortedAndStrangeLinesAreLeftOut)
{
    std::istringstream oText("fe800000000000000000000000000001 02 40 20 80     eth1\n"
                             "20010DB8000000000000000000000002 0c 40 00 00     eth0\n"
                             "0000000000000000000000000a000001 0c 40 80 00     eth0\n"
                             "fec00000000000000000000000000001 0c 40 40 00     eth0\n"
                             "00000000000000000000000000000001 01 80 10 80       lo\n"
                             "fe8000000000000000000000000001 02 40 20 80     eth1\n"
                             "fe8000000000000000000000000000011 02 40 20 80     eth1\n"
                             "fe80000000000000000000000000zz01 02 40 20 80     eth1\n"
                             "fe800000000000000000000000000001 02 40 20 80\n"
                             "\n"
                             "fe800000000000000000000000000003 02 40 20 80 eth2");
    EXPECT_EQ(zel::net::parseIPv6Addresses(oText), (Addresses{{"eth0", "2001:db8::2", EIPv6Scope::Global},
                                                              {"eth0", "::10.0.0.1", EIPv6Scope::Global},
                                                              {"eth0", "fec0::1", EIPv6Scope::Site},
                                                              {"eth1", "fe80::1", EIPv6Scope::Link},
                                                              {"eth2", "fe80::3", EIPv6Scope::Link},
                                                              {"lo", "::1", EIPv6Scope::Host}}));
}

TEST_F(IPAddressesTest, AreThoseOfAllDevices)
{
    addLan();
    ip("link set lan up");
    ip("link set lo up");
    ip("address add fe80::1 dev peer");
    ip("address add fd00::2 dev lan");
    ip("address add fd00::1 dev lan");
    IPAddresses oAddresses;
    EXPECT_TRUE(oAddresses.getIPv6Addresses().empty());
    oAddresses.refresh();
    const Addresses lBefore = oAddresses.getIPv6Addresses();
    EXPECT_EQ(lBefore, (Addresses{{"lan", "fd00::1", EIPv6Scope::Global},
                                  {"lan", "fd00::2", EIPv6Scope::Global},
                                  {"lo", "::1", EIPv6Scope::Host},
                                  {"peer", "fe80::1", EIPv6Scope::Link}}));
    // Another order in the kernel is none here.
    ip("address del fd00::1/128 dev lan");
    oAddresses.refresh();
    EXPECT_FALSE(oAddresses.IPv6AddressesIsEqual(lBefore));
    ip("address add fd00::1 dev lan");
    oAddresses.refresh();
    EXPECT_TRUE(oAddresses.IPv6AddressesIsEqual(lBefore));
}
