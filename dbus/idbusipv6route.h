// Is told of signals about the IPv6 routes. Main thread only, while the bus iterates.
#pragma once

#include <cstdint>
#include <string>

namespace zel {

class IDBusIPv6Route
{
public:
    virtual ~IDBusIPv6Route() = default;

    virtual void NewIPv6Route(const std::string& a_sFirst, std::uint8_t a_iNumber,
                              const std::string& a_sSecond, const std::string& a_sThird) = 0;
    virtual void RemovedIPv6Route(const std::string& a_sFirst, std::uint8_t a_iNumber,
                                  const std::string& a_sSecond, const std::string& a_sThird) = 0;
};

} // namespace zel
