#include "zel/ipaddresses.h"

#include <gtest/gtest.h>

#include <sstream>

using zel::net::EIPv6Scope;
using zel::net::IPv6Address;

using Addresses = std::vector<IPv6Address>;

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
