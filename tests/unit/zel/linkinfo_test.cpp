#include "zel/linkinfo.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <linux/rtnetlink.h>
#include <net/if.h>

using zel::net::LinkInfo;
using zel::net::parseLinkInfo;

namespace {

constexpr std::array<unsigned char, 6> c_aMac = {2, 0, 0, 0, 0, 0x1f};
constexpr std::size_t c_iHeadsSize = NLMSG_SPACE(sizeof(ifinfomsg));

void append(std::string& a_sMessage, unsigned short a_iAttribute, const auto& a_oValue)
{
    const rtattr oHead{RTA_LENGTH(sizeof(a_oValue)), a_iAttribute};
    a_sMessage.append(reinterpret_cast<const char*>(&oHead), sizeof(oHead));
    a_sMessage.append(reinterpret_cast<const char*>(&a_oValue), sizeof(a_oValue));
    a_sMessage.resize(NLMSG_ALIGN(a_sMessage.size()));
}

/// The kernel's answer about a device that is up, with MAC address, MTU and counters.
std::string message(std::uint32_t a_iTxPackets)
{
    std::string sMessage(c_iHeadsSize, '\0');
    append(sMessage, IFLA_ADDRESS, c_aMac);
    append(sMessage, IFLA_MTU, 1500U);
    rtnl_link_stats oCounters{};
    oCounters.tx_packets = a_iTxPackets;
    oCounters.tx_bytes = 5;
    oCounters.rx_packets = 6;
    oCounters.rx_bytes = 7;
    append(sMessage, IFLA_STATS, oCounters);
    rtnl_link_stats64 oWide{};
    oWide.tx_packets = 0x100000000U + a_iTxPackets;
    append(sMessage, IFLA_STATS64, oWide);
    const nlmsghdr oHead{static_cast<std::uint32_t>(sMessage.size()), RTM_NEWLINK, 0, 0, 0};
    ifinfomsg oLink{};
    oLink.ifi_flags = IFF_UP;
    std::memcpy(sMessage.data(), &oHead, sizeof(oHead));
    std::memcpy(sMessage.data() + NLMSG_HDRLEN, &oLink, sizeof(oLink));
    return sMessage;
}

const LinkInfo c_oWhole{true, "02:00:00:00:00:1f", 1500, {0, 5, 6, 7}};

} // namespace

TEST(LinkInfo, CountersStartAgainAfter32Bits)
{
    LinkInfo oExpected = c_oWhole;
    oExpected.m_oCounters.m_iTxPackets = 4294967295;
    EXPECT_EQ(parseLinkInfo(message(4294967295)), oExpected);
    EXPECT_EQ(parseLinkInfo(message(0)), c_oWhole);
}

TEST(LinkInfo, AnAttributeOfABadLengthEndsTheMessage)
{
    for (const unsigned short iLength : {0, 3, 0xffff}) {
        std::string sMessage = message(0);
        std::memcpy(sMessage.data() + c_iHeadsSize, &iLength, sizeof(iLength));
        EXPECT_EQ(parseLinkInfo(sMessage), (LinkInfo{true, "", 0, {}})) << iLength;
    }
    std::string sError = message(0);
    sError[offsetof(nlmsghdr, nlmsg_type)] = NLMSG_ERROR;
    EXPECT_EQ(parseLinkInfo(sError), std::nullopt);
}
