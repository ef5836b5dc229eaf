#include "zel/netdevice.h"

#include "zel/ipaddresses.h"
#include "zel/uniquefd.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <utility>

namespace zel::net {

namespace {

std::string askAddress(const UniqueFd& a_oSocket, const std::string& a_sDevice, unsigned long a_iQuestion)
{
    ifreq oRequest{};
    a_sDevice.copy(oRequest.ifr_name, IFNAMSIZ - 1);
    if (::ioctl(a_oSocket.get(), a_iQuestion, &oRequest) != 0) {
        return c_pNoAddress;
    }
    sockaddr_in oAddress{};
    std::memcpy(&oAddress, &oRequest.ifr_addr, sizeof(oAddress));
    std::array<char, INET_ADDRSTRLEN> aText{};
    ::inet_ntop(AF_INET, &oAddress.sin_addr, aText.data(), aText.size());
    return aText.data();
}

void readIPv4(NetDeviceState& a_oState, const std::string& a_sDevice)
{
    const UniqueFd oSocket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    a_oState.m_sAddr = askAddress(oSocket, a_sDevice, SIOCGIFADDR);
    a_oState.m_sBroadAddr = askAddress(oSocket, a_sDevice, SIOCGIFBRDADDR);
    a_oState.m_sNetmask = askAddress(oSocket, a_sDevice, SIOCGIFNETMASK);
    a_oState.m_sDstAddr = askAddress(oSocket, a_sDevice, SIOCGIFDSTADDR);
    if (a_oState.m_sDstAddr == a_oState.m_sAddr) {
        a_oState.m_sDstAddr = c_pNoAddress; // how the kernel says that there is no peer
    }
}

void readIPv6(NetDeviceState& a_oState, const std::string& a_sDevice)
{
    IPAddresses oAddresses;
    oAddresses.refresh();
    const auto count = [&](EIPv6Scope a_eScope) {
        return static_cast<unsigned>(
            std::ranges::count_if(oAddresses.getIPv6Addresses(), [&](const IPv6Address& a_oAddress) {
                return a_oAddress.getName() == a_sDevice && a_oAddress.getScope() == a_eScope;
            }));
    };
    a_oState.m_iIPv6LinkAddrs = count(EIPv6Scope::Link);
    a_oState.m_iIPv6SiteAddrs = count(EIPv6Scope::Site);
    a_oState.m_iIPv6GlobalAddrs = count(EIPv6Scope::Global);
}

} // namespace

NetDevice::NetDevice(std::string a_sName) : m_sName(std::move(a_sName))
{
    refresh();
}

void NetDevice::refresh()
{
    m_oState = {};
    // Asked for the addresses of a device that is not there, the kernel would look for a module with its
    // driver.
    if (auto oLink = readLinkInfo(m_sName)) {
        static_cast<LinkInfo&>(m_oState) = *std::move(oLink);
        readIPv4(m_oState, m_sName);
        readIPv6(m_oState, m_sName);
    }
}

void NetDevice::refreshStatistics()
{
    m_oState.m_oCounters = readLinkInfo(m_sName).value_or(LinkInfo()).m_oCounters;
}

} // namespace zel::net
