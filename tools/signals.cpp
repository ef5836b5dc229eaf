#include "tools/signals.h"

#include <algorithm>
#include <array>

namespace zel::netsim {

namespace {

constexpr std::array c_aSignals = {
    Signal{"com.kestrane.network.IPv4Neighbour", "NewIPv4Neighbour", "sssu", "ADDRESS DEVICE MAC STATE"},
    Signal{"com.kestrane.network.IPv4Neighbour", "RemovedIPv4Neighbour", "sssu", "ADDRESS DEVICE MAC STATE"},
    Signal{c_pInterfaceStatus, "StatusChange", "sb", "DEVICE UP"},
    Signal{c_pInterfaceStatus, "LinkStatusChange", "sb", "DEVICE UP"},
    Signal{"com.kestrane.network.IPv4Address", "NewIPv4Address", "ss", "DEVICE ADDRESS"},
    Signal{"com.kestrane.network.IPv4Address", "RemovedIPv4Address", "ss", "DEVICE ADDRESS"},
    Signal{"com.kestrane.network.IPv6Address", "NewIPv6Address", "ssy", "DEVICE ADDRESS NUMBER"},
    Signal{"com.kestrane.network.IPv6Address", "RemovedIPv6Address", "ssy", "DEVICE ADDRESS NUMBER"},
    Signal{"com.kestrane.network.DomainNameServer", "UpdateServer", "ssas", "FIRST SECOND SERVERS"},
    Signal{"com.kestrane.network.DomainNameServer", "RemoveServer", "ssas", "FIRST SECOND SERVERS"},
    Signal{"com.kestrane.network.IPv4Route", "NewIPv4Route", "sysssu",
           "FIRST NUMBER SECOND THIRD FOURTH LAST"},
    Signal{"com.kestrane.network.IPv4Route", "RemovedIPv4Route", "sysssu",
           "FIRST NUMBER SECOND THIRD FOURTH LAST"},
    Signal{"com.kestrane.network.IPv6Route", "NewIPv6Route", "syss", "FIRST NUMBER SECOND THIRD"},
    Signal{"com.kestrane.network.IPv6Route", "RemovedIPv6Route", "syss", "FIRST NUMBER SECOND THIRD"},
    Signal{"com.kestrane.network.SwitchPortStatus", "portStatusChanged", "yb", "PORT UP"},
    Signal{c_pDnsmasq, "DhcpLeaseAdded", "ssssu", "ADDRESS MAC HOST VENDOR EXPIRES"},
    Signal{c_pDnsmasq, "DhcpLeaseDeleted", "ssssu", "ADDRESS MAC HOST VENDOR EXPIRES"},
    Signal{c_pDnsmasq, "DhcpLeaseUpdated", "ssssu", "ADDRESS MAC HOST VENDOR EXPIRES"},
    Signal{c_pDnsmasq, "DhcpLeaseAcked", "ssssu", "ADDRESS MAC HOST VENDOR EXPIRES"},
};

} // namespace

std::span<const Signal> signals()
{
    return c_aSignals;
}

const Signal* findSignal(std::string_view a_sName)
{
    const auto it = std::ranges::find(c_aSignals, a_sName, &Signal::m_pName);
    return it != c_aSignals.end() ? &*it : nullptr;
}

std::vector<std::string> services()
{
    std::vector<std::string> lServices;
    for (const Signal& oSignal : c_aSignals) {
        if (lServices.empty() || lServices.back() != oSignal.m_pService) {
            lServices.emplace_back(oSignal.m_pService);
        }
    }
    return lServices;
}

} // namespace zel::netsim
