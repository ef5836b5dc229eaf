// A network device, by name: what the kernel told of it when it was last asked.
//
// A plain value, on the thread of its owner. A device that does not exist (yet, any more, or under that name)
// is down and has no addresses, which is no error. Nothing throws but std::bad_alloc.
#pragma once

#include "zel/ipaddresses.h"
#include "zel/linkinfo.h"

#include <string>

namespace zel::net {

/// The addresses are those of the first of the device's IPv4 addresses.
struct NetDeviceState : LinkInfo, IPv4Address
{
    // Numbers of IPv6 addresses by scope.
    unsigned m_iIPv6LinkAddrs = 0;
    unsigned m_iIPv6SiteAddrs = 0;
    unsigned m_iIPv6GlobalAddrs = 0;

    bool operator==(const NetDeviceState&) const = default;
};

class NetDevice
{
public:
    /// Asks the kernel at once; see refresh.
    explicit NetDevice(std::string a_sName, const AddressLists& a_oAddresses = AddressLists());

    const std::string& getName() const { return m_sName; }
    const NetDeviceState& getState() const { return m_oState; }

    /// Asks for everything again, but takes the addresses from the lists.
    void refresh(const AddressLists& a_oAddresses = AddressLists());
    /// Asks for the counters again and leaves the rest.
    void refreshStatistics();

private:
    std::string m_sName;
    NetDeviceState m_oState;
};

} // namespace zel::net
