// The IPv6 addresses of all network devices, as the kernel lists them.
//
// A plain value, on the thread of its owner; the devices are those of the process's network namespace.
// Nothing throws but std::bad_alloc; a list that cannot be read is empty.
#pragma once

#include <compare>
#include <istream>
#include <string>
#include <utility>
#include <vector>

namespace zel::net {

/// The kernel's numbers. Unique local addresses (fc00::/7) are global.
enum class EIPv6Scope : unsigned
{
    Global = 0x00,
    Host = 0x10,
    Link = 0x20,
    Site = 0x40,
};

/// An address of a device.
class IPv6Address
{
public:
    IPv6Address(std::string a_sName, std::string a_sAddr, EIPv6Scope a_eScope)
        : m_sName(std::move(a_sName)),
          m_sAddr(std::move(a_sAddr)),
          m_eScope(a_eScope)
    {
    }

    /// The device.
    const std::string& getName() const { return m_sName; }
    /// The address in its short form, without the length of its prefix.
    const std::string& getAddr() const { return m_sAddr; }
    EIPv6Scope getScope() const { return m_eScope; }

    auto operator<=>(const IPv6Address&) const = default;

private:
    std::string m_sName;
    std::string m_sAddr;
    EIPv6Scope m_eScope;
};

/// Reads a text of the form of /proc/net/if_inet6; a line of another form is left out. Sorted by device, then
/// by address, both as texts, for the kernel's own order changes when other addresses come and go.
std::vector<IPv6Address> parseIPv6Addresses(std::istream& a_oText);

class IPAddresses
{
public:
    /// Reads the addresses; before, there are none.
    void refresh();

    /// Lives until the next refresh.
    const std::vector<IPv6Address>& getIPv6Addresses() const { return m_lIPv6; }
    bool IPv6AddressesIsEqual(const std::vector<IPv6Address>& a_lOther) const { return m_lIPv6 == a_lOther; }

private:
    std::vector<IPv6Address> m_lIPv6;
};

} // namespace zel::net
