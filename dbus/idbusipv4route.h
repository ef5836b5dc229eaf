// Is told of signals about the IPv4 routes. Main thread only, while the bus iterates.
#pragma once

#include <cstdint>
#include <string>

namespace zel {

class IDBusIPv4Route
{
public:
    virtual ~IDBusIPv4Route() = default;

    virtual void NewIPv4Route(const std::string& a_sFirst, std::uint8_t a_iNumber,
                              const std::string& a_sSecond, const std::string& a_sThird,
                              const std::string& a_sFourth, std::uint32_t a_iLast) = 0;
    virtual void RemovedIPv4Route(const std::string& a_sFirst, std::uint8_t a_iNumber,
                                  const std::string& a_sSecond, const std::string& a_sThird,
                                  const std::string& a_sFourth, std::uint32_t a_iLast) = 0;
};

} // namespace zel
