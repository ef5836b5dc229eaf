#include "status/ipfilter.h"

#include <arpa/inet.h>
#include <utility>

namespace zel {

namespace {

in_addr_t parse(const std::string& a_sAddress)
{
    in_addr oAddress{};
    return ::inet_aton(a_sAddress.c_str(), &oAddress) != 0 ? oAddress.s_addr : 0;
}

} // namespace

IpFilter::IpFilter(std::string a_sAddress, const std::string&, const std::string& a_sNetmask)
    : m_sAddress(std::move(a_sAddress)),
      m_iNetmask(parse(a_sNetmask)),
      m_iNetwork(m_iNetmask & parse(m_sAddress))
{
}

bool IpFilter::operator()(const Connection& a_oConnection) const
{
    if (a_oConnection.m_sProtocol != "udp" && a_oConnection.m_sProtocol != "tcp") {
        return true;
    }
    if (a_oConnection.m_sSrcAddress == m_sAddress || a_oConnection.m_sDstAddress == m_sAddress) {
        return true;
    }
    return (parse(a_oConnection.m_sSrcAddress) & m_iNetmask) != m_iNetwork;
}

} // namespace zel
