// Tells which connections are none of the LAN's clients: of another protocol than TCP and UDP, with the
// device itself, or from elsewhere.
//
// A value made for one read of the connections; it never throws.
#pragma once

#include "status/connection.h"

#include <netinet/in.h>
#include <string>

namespace zel {

class IpFilter
{
public:
    /// The addressing of the LAN; the broadcast address belongs to it but decides nothing. What is no IPv4
    /// address counts as 0.0.0.0: without addressing, connections from anywhere are the LAN's.
    IpFilter(std::string a_sAddress, const std::string& a_sBroadcastAddress, const std::string& a_sNetmask);

    /// True for a connection to leave out.
    bool operator()(const Connection& a_oConnection) const;

private:
    const std::string m_sAddress;
    const in_addr_t m_iNetmask;
    const in_addr_t m_iNetwork;
};

} // namespace zel
