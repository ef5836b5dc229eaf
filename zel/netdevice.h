// A network device, by name: what the kernel told of it when it was last asked.
//
// A plain value, on the thread of its owner. A device that does not exist (yet, any more, or under that name)
// is down and has no addresses, which is no error. Nothing throws but std::bad_alloc.
#pragma once

#include "zel/linkinfo.h"

#include <string>

namespace zel::net {

inline constexpr const char* c_pNoAddress = "0.0.0.0";

struct NetDeviceState : LinkInfo
{
    // The first of the device's IPv4 addresses.
    std::string m_sAddr = c_pNoAddress;
    std::string m_sBroadAddr = c_pNoAddress;
    std::string m_sDstAddr = c_pNoAddress; // the peer's, if there is one
    std::string m_sNetmask = c_pNoAddress;

    // Numbers of IPv6 addresses by scope.
    unsigned m_iIPv6LinkAddrs = 0;
    unsigned m_iIPv6SiteAddrs = 0;
    unsigned m_iIPv6GlobalAddrs = 0;

    bool operator==(const NetDeviceState&) const = default;
};

class NetDevice
{
public:
    /// Asks the kernel at once.
    explicit NetDevice(std::string a_sName);

    const std::string& getName() const { return m_sName; }
    const NetDeviceState& getState() const { return m_oState; }

    /// Asks for everything again.
    void refresh();
    /// Asks for the counters again and leaves the rest.
    void refreshStatistics();

private:
    std::string m_sName;
    NetDeviceState m_oState;
};

} // namespace zel::net
