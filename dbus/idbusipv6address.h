// Is told of signals about the IPv6 addresses of devices. Main thread only, while the bus iterates.
#pragma once

#include <cstdint>
#include <string>

namespace zel {

class IDBusIPv6Address
{
public:
    virtual ~IDBusIPv6Address() = default;

    virtual void NewIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                                std::uint8_t a_iNumber) = 0;
    virtual void RemovedIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                                    std::uint8_t a_iNumber) = 0;
};

} // namespace zel
