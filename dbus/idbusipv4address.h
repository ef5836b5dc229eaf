// Is told of signals about the IPv4 addresses of devices. Main thread only, while the bus iterates.
#pragma once

#include <string>

namespace zel {

class IDBusIPv4Address
{
public:
    virtual ~IDBusIPv4Address() = default;

    virtual void NewIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress) = 0;
    virtual void RemovedIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress) = 0;
};

} // namespace zel
