#include "zel/linkinfo.h"

#include "zel/uniquefd.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

namespace zel::net {

namespace {

constexpr std::size_t c_iMacSize = 6;
constexpr std::size_t c_iLongestAnswer = 32768;

using Bytes = std::span<const char>;

/// The structure that the bytes start with; what is missing of it is 0.
template<class Struct>
Struct startOf(Bytes a_lBytes)
{
    Struct oStruct{};
    std::copy_n(a_lBytes.data(), std::min(sizeof(oStruct), a_lBytes.size()),
                reinterpret_cast<char*>(&oStruct));
    return oStruct;
}

Bytes skip(Bytes a_lBytes, std::size_t a_iCount)
{
    return a_lBytes.subspan(std::min(a_iCount, a_lBytes.size()));
}

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

    const UniqueFd oSocket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (::send(oSocket.get(), &oRequest, sizeof(oRequest), 0) != sizeof(oRequest)) {
        return std::nullopt;
    }
    // The kernel has answered when send returns.
    std::array<char, c_iLongestAnswer> aAnswer;
    const ssize_t iSize = ::recv(oSocket.get(), aAnswer.data(), aAnswer.size(), MSG_DONTWAIT);
    return parseLinkInfo({aAnswer.data(), static_cast<std::size_t>(std::max<ssize_t>(iSize, 0))});
}

std::optional<LinkInfo> parseLinkInfo(std::span<const char> a_lMessage)
{
    const auto oHead = startOf<nlmsghdr>(a_lMessage);
    if (oHead.nlmsg_type != RTM_NEWLINK) {
        return std::nullopt;
    }
    LinkInfo oLink;
    Bytes lRest =
        skip(a_lMessage.first(std::min<std::size_t>(oHead.nlmsg_len, a_lMessage.size())), NLMSG_LENGTH(0));
    oLink.m_bUp = (startOf<ifinfomsg>(lRest).ifi_flags & IFF_UP) != 0;
    lRest = skip(lRest, NLMSG_ALIGN(sizeof(ifinfomsg)));
    while (lRest.size() >= sizeof(rtattr)) {
        const auto oAttribute = startOf<rtattr>(lRest);
        if (oAttribute.rta_len < sizeof(rtattr) || oAttribute.rta_len > lRest.size()) {
            break;
        }
        take(oLink, oAttribute.rta_type, skip(lRest.first(oAttribute.rta_len), RTA_LENGTH(0)));
        lRest = skip(lRest, RTA_ALIGN(oAttribute.rta_len));
    }
    return oLink;
}

} // namespace zel::net
