// Is told of signals about the leases of the DHCP server. Main thread only, while the bus iterates.
#pragma once

#include <cstdint>
#include <string>

namespace zel {

class IDBusDnsMasq
{
public:
    virtual ~IDBusDnsMasq() = default;

    virtual void DhcpLeaseAdded(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                                const std::string& a_sHostName, const std::string& a_sVendor,
                                std::uint32_t a_iExpires) = 0;
    virtual void DhcpLeaseDeleted(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                                  const std::string& a_sHostName, const std::string& a_sVendor,
                                  std::uint32_t a_iExpires) = 0;
    virtual void DhcpLeaseUpdated(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                                  const std::string& a_sHostName, const std::string& a_sVendor,
                                  std::uint32_t a_iExpires) = 0;
    virtual void DhcpLeaseAcked(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                                const std::string& a_sHostName, const std::string& a_sVendor,
                                std::uint32_t a_iExpires) = 0;
};

} // namespace zel
