#include "zel/ipaddresses.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace zel::net {

namespace {

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

void IPAddresses::refresh()
{
    std::ifstream oFile("/proc/net/if_inet6");
    m_lIPv6 = parseIPv6Addresses(oFile);
}

} // namespace zel::net
