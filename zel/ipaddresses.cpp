#include "zel/ipaddresses.h"

#include "zel/rtnetlink.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <linux/rtnetlink.h>

namespace zel::net {

namespace {

std::string textOf(in_addr a_oAddress)
{
    std::array<char, INET_ADDRSTRLEN> aText{};
    ::inet_ntop(AF_INET, &a_oAddress, aText.data(), aText.size());
    return aText.data();
}

in_addr maskOf(unsigned a_iPrefixLength)
{
    constexpr unsigned c_iBits = 32;
    return {a_iPrefixLength == 0 ? 0 : htonl(~0U << (c_iBits - std::min(a_iPrefixLength, c_iBits)))};
}

/// The short form of an address that is written as 32 hexadecimal digits.
std::string shorten(std::string a_sDigits)
{
    for (const std::size_t iAt : {28, 24, 20, 16, 12, 8, 4}) {
        a_sDigits.insert(iAt, 1, ':');
    }
    in6_addr oAddress{};
    std::array<char, INET6_ADDRSTRLEN> aText{};
    ::inet_pton(AF_INET6, a_sDigits.c_str(), &oAddress);
    ::inet_ntop(AF_INET6, &oAddress, aText.data(), aText.size());
    return aText.data();
}

/// The kernel marks addresses that embed an IPv4 address with another bit.
EIPv6Scope toScope(unsigned a_iNumber)
{
    return static_cast<EIPv6Scope>(a_iNumber & 0x70);
}

} // namespace

std::optional<IPv4Addresses::value_type> parseIPv4Address(std::span<const char> a_lMessage)
{
    const Bytes lContent = contentOf(a_lMessage);
    const auto oHead = startOf<ifaddrmsg>(lContent);
    if (startOf<nlmsghdr>(a_lMessage).nlmsg_type != RTM_NEWADDR || oHead.ifa_family != AF_INET) {
        return std::nullopt;
    }
    IPv4Address oAddress;
    oAddress.m_sNetmask = textOf(maskOf(oHead.ifa_prefixlen));
    forEachAttribute(lContent, sizeof(oHead), [&](unsigned a_iType, Bytes a_lValue) {
        if (a_iType == IFA_LOCAL) {
            oAddress.m_sAddr = textOf(startOf<in_addr>(a_lValue));
        } else if (a_iType == IFA_ADDRESS) {
            oAddress.m_sDstAddr = textOf(startOf<in_addr>(a_lValue));
        } else if (a_iType == IFA_BROADCAST) {
            oAddress.m_sBroadAddr = textOf(startOf<in_addr>(a_lValue));
        }
    });
    if (oAddress.m_sDstAddr == oAddress.m_sAddr) {
        oAddress.m_sDstAddr = c_pNoAddress; // how the kernel says that there is no peer
    }
    return IPv4Addresses::value_type(static_cast<int>(oHead.ifa_index), std::move(oAddress));
}

IPv4Addresses readIPv4Addresses()
{
    struct
    {
        nlmsghdr m_oHead;
        ifaddrmsg m_oAddress;
    } oRequest{};
    oRequest.m_oHead.nlmsg_len = sizeof(oRequest);
    oRequest.m_oHead.nlmsg_type = RTM_GETADDR;
    oRequest.m_oHead.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    oRequest.m_oAddress.ifa_family = AF_INET;

    IPv4Addresses mAddresses;
    askKernel({reinterpret_cast<const char*>(&oRequest), sizeof(oRequest)}, [&](Bytes a_lMessage) {
        if (auto oAddress = parseIPv4Address(a_lMessage)) {
            mAddresses.insert(*std::move(oAddress)); // unless the device has an earlier one
        }
    });
    return mAddresses;
}

std::vector<IPv6Address> parseIPv6Addresses(std::istream& a_oText)
{
    std::vector<IPv6Address> lAddresses;
    for (std::string sLine; std::getline(a_oText, sLine);) {
        // Address, index of the device, length of the prefix, scope, flags, device; the numbers hexadecimal.
        std::array<char, 34> aDigits{};
        std::array<char, 16> aName{};
        unsigned iScope = 0;
        if (std::sscanf(sLine.c_str(), "%33[0-9a-fA-F] %*x %*x %x %*x %15s", aDigits.data(), &iScope,
                        aName.data()) == 3 &&
            std::strlen(aDigits.data()) == 32) {
            lAddresses.emplace_back(aName.data(), shorten(aDigits.data()), toScope(iScope));
        }
    }
    std::ranges::sort(lAddresses);
    return lAddresses;
}

std::vector<IPv6Address> readIPv6Addresses()
{
    std::ifstream oFile("/proc/net/if_inet6");
    return parseIPv6Addresses(oFile);
}

} // namespace zel::net
