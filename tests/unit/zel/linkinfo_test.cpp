#include "zel/linkinfo.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <vector>

using zel::net::LinkInfo;
using zel::net::parseLinkInfo;

namespace {

class Message
{
public:
    explicit Message(std::uint16_t a_iType)
    {
        nlmsghdr oHead{};
        oHead.nlmsg_type = a_iType;
        append(&oHead, sizeof(oHead));
        ifinfomsg oLink{};
        oLink.ifi_flags = IFF_UP | IFF_RUNNING;
        append(&oLink, sizeof(oLink));
    }

    template<class Content>
    Message& add(std::uint16_t a_iAttribute, const Content& a_oContent)
    {
        const rtattr oAttribute{RTA_LENGTH(sizeof(a_oContent)), a_iAttribute};
        append(&oAttribute, sizeof(oAttribute));
        append(&a_oContent, sizeof(a_oContent));
        m_lBytes.resize(NLMSG_ALIGN(m_lBytes.size()));
        return *this;
    }

    /// Complete, or cut as if the kernel had more to say than there was room for.
    std::optional<LinkInfo> parse(std::size_t a_iCut = 0)
    {
        const auto iLength = static_cast<std::uint32_t>(m_lBytes.size());
        std::memcpy(m_lBytes.data(), &iLength, sizeof(iLength));
        // Of exactly its size, so that a read beyond it is seen.
        const std::vector<char> lBytes(m_lBytes.begin(), m_lBytes.end() - static_cast<long>(a_iCut));
        return parseLinkInfo(lBytes);
    }
    std::size_t size() const { return m_lBytes.size(); }

private:
    void append(const void* a_pBytes, std::size_t a_iSize)
    {
        const auto* pBytes = static_cast<const char*>(a_pBytes);
        m_lBytes.insert(m_lBytes.end(), pBytes, pBytes + a_iSize);
    }

    std::vector<char> m_lBytes;
};

rtnl_link_stats counters()
{
    rtnl_link_stats oCounters{};
    oCounters.rx_packets = 1;
    oCounters.tx_packets = 2;
    oCounters.rx_bytes = 3;
    oCounters.tx_bytes = 0xffffffff;
    return oCounters;
}

const LinkInfo c_oLan{true, "02:00:00:00:00:0a", 1492, {2, 0xffffffff, 1, 3}};

} // namespace

TEST(LinkInfo, IsReadFromAMessageHoweverCut)
{
    Message oMessage(RTM_NEWLINK);
    oMessage.add(IFLA_ADDRESS, std::array<unsigned char, 6>{2, 0, 0, 0, 0, 10})
        .add(IFLA_IFNAME, std::array<char, 5>{"eth0"})
        .add(IFLA_MTU, std::uint32_t{1492})
        .add(IFLA_STATS, counters());
    EXPECT_EQ(oMessage.parse(), c_oLan);
    EXPECT_EQ(oMessage.parse(1), (LinkInfo{true, c_oLan.m_sHwAddr, 1492, {}}));
    for (std::size_t iCut = 1; iCut <= oMessage.size(); ++iCut) {
        EXPECT_NE(oMessage.parse(iCut), c_oLan);
    }
}

TEST(LinkInfo, IsNotReadFromOtherAnswers)
{
    EXPECT_EQ(Message(NLMSG_ERROR).parse(), std::nullopt);
    EXPECT_EQ(parseLinkInfo({}), std::nullopt);
    EXPECT_EQ(Message(RTM_NEWLINK).parse(), (LinkInfo{true, "", 0, {}}));
}

TEST(LinkInfo, EndsAtAnAttributeWithoutASaneLength)
{
    // The address of a tunnel is no MAC address.
    Message oMessage(RTM_NEWLINK);
    oMessage.add(IFLA_ADDRESS, std::uint32_t{1}).add(IFLA_MTU, std::uint32_t{1492}).add(0, std::uint32_t{});
    EXPECT_EQ(oMessage.parse(), (LinkInfo{true, "", 1492, {}}));
    Message oEndless(RTM_NEWLINK);
    oEndless.add(IFLA_MTU, std::uint32_t{1492}).add(0, std::uint32_t{});
    const rtattr oEmpty{0, IFLA_MTU};
    oEndless.add(0, oEmpty);
    EXPECT_EQ(oEndless.parse(), (LinkInfo{true, "", 1492, {}}));
}
