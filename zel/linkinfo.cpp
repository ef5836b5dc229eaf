#include "zel/linkinfo.h"

#include "zel/rtnetlink.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <linux/rtnetlink.h>
#include <net/if.h>

namespace zel::net {

namespace {

constexpr std::size_t c_iMacSize = 6;

/// Tunnels have an address of another length, which is no MAC address.
std::string formatMac(Bytes a_lAddress)
{
    if (a_lAddress.size() != c_iMacSize) {
        return {};
    }
    const auto aMac = startOf<std::array<unsigned char, c_iMacSize>>(a_lAddress);
    std::array<char, sizeof("00:00:00:00:00:00")> aText;
    std::snprintf(aText.data(), aText.size(), "%02x:%02x:%02x:%02x:%02x:%02x", aMac[0], aMac[1], aMac[2],
                  aMac[3], aMac[4], aMac[5]);
    return aText.data();
}

void take(LinkInfo& a_oLink, unsigned a_iAttribute, Bytes a_lValue)
{
    if (a_iAttribute == IFLA_ADDRESS) {
        a_oLink.m_sHwAddr = formatMac(a_lValue);
    } else if (a_iAttribute == IFLA_MTU) {
        a_oLink.m_iMTU = startOf<std::uint32_t>(a_lValue);
    } else if (a_iAttribute == IFLA_STATS) {
        const auto oCounters = startOf<rtnl_link_stats>(a_lValue);
        a_oLink.m_oCounters = {oCounters.tx_packets, oCounters.tx_bytes, oCounters.rx_packets,
                               oCounters.rx_bytes};
    }
}

} // namespace

std::optional<LinkInfo> readLinkInfo(const std::string& a_sDevice)
{
    struct
    {
        nlmsghdr m_oHead;
        ifinfomsg m_oLink;
        rtattr m_oAttribute;
        std::array<char, IFNAMSIZ> m_aName;
    } oRequest{};
    // A longer name is no device's.
    if (a_sDevice.empty() || a_sDevice.size() >= oRequest.m_aName.size()) {
        return std::nullopt;
    }
    oRequest.m_oHead.nlmsg_len = sizeof(oRequest);
    oRequest.m_oHead.nlmsg_type = RTM_GETLINK;
    oRequest.m_oHead.nlmsg_flags = NLM_F_REQUEST;
    oRequest.m_oAttribute.rta_type = IFLA_IFNAME;
    oRequest.m_oAttribute.rta_len = sizeof(oRequest.m_oAttribute) + sizeof(oRequest.m_aName);
    std::ranges::copy(a_sDevice, oRequest.m_aName.begin());

    std::optional<LinkInfo> oLink;
    askKernel({reinterpret_cast<const char*>(&oRequest), sizeof(oRequest)},
              [&](Bytes a_lMessage) { oLink = parseLinkInfo(a_lMessage); });
    return oLink;
}

std::optional<LinkInfo> parseLinkInfo(std::span<const char> a_lMessage)
{
    if (startOf<nlmsghdr>(a_lMessage).nlmsg_type != RTM_NEWLINK) {
        return std::nullopt;
    }
    const Bytes lContent = contentOf(a_lMessage);
    const auto oHead = startOf<ifinfomsg>(lContent);
    LinkInfo oLink;
    oLink.m_bUp = (oHead.ifi_flags & IFF_UP) != 0;
    oLink.m_iIndex = oHead.ifi_index;
    forEachAttribute(lContent, sizeof(oHead),
                     [&](unsigned a_iType, Bytes a_lValue) { take(oLink, a_iType, a_lValue); });
    return oLink;
}

} // namespace zel::net
