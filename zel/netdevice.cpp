#include "zel/netdevice.h"

#include <algorithm>
#include <utility>

namespace zel::net {

namespace {

unsigned count(const std::vector<IPv6Address>& a_lAddresses, const std::string& a_sDevice,
               EIPv6Scope a_eScope)
{
    return static_cast<unsigned>(std::ranges::count_if(a_lAddresses, [&](const IPv6Address& a_oAddress) {
        return a_oAddress.getName() == a_sDevice && a_oAddress.getScope() == a_eScope;
    }));
}

} // namespace

NetDevice::NetDevice(std::string a_sName, const AddressLists& a_oAddresses) : m_sName(std::move(a_sName))
{
    refresh(a_oAddresses);
}

void NetDevice::refresh(const AddressLists& a_oAddresses)
{
    m_oState = {};
    auto oLink = readLinkInfo(m_sName);
    if (!oLink) {
        return;
    }
    static_cast<LinkInfo&>(m_oState) = *std::move(oLink);
    const auto& mIPv4 = a_oAddresses.getIPv4();
    if (const auto it = mIPv4.find(m_oState.m_iIndex); it != mIPv4.end()) {
        static_cast<IPv4Address&>(m_oState) = it->second;
    }
    m_oState.m_iIPv6LinkAddrs = count(a_oAddresses.getIPv6(), m_sName, EIPv6Scope::Link);
    m_oState.m_iIPv6SiteAddrs = count(a_oAddresses.getIPv6(), m_sName, EIPv6Scope::Site);
    m_oState.m_iIPv6GlobalAddrs = count(a_oAddresses.getIPv6(), m_sName, EIPv6Scope::Global);
}

void NetDevice::refreshStatistics()
{
    m_oState.m_oCounters = readLinkInfo(m_sName).value_or(LinkInfo()).m_oCounters;
}

} // namespace zel::net
