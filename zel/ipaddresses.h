// The addresses of all network devices, as the kernel lists them.
//
// Plain values, on the thread of their owner; the devices are those of the process's network namespace.
// Nothing throws but std::bad_alloc; a list that cannot be read is empty.
#pragma once

#include <compare>
#include <istream>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace zel::net {

inline constexpr const char* c_pNoAddress = "0.0.0.0";

struct IPv4Address
{
    std::string m_sAddr = c_pNoAddress;
    std::string m_sBroadAddr = c_pNoAddress;
    std::string m_sDstAddr = c_pNoAddress; // the peer's, if there is one
    std::string m_sNetmask = c_pNoAddress;

    bool operator==(const IPv4Address&) const = default;
};

/// The first address of each device in the kernel's order, whatever label it has, by LinkInfo::m_iIndex.
/// Secondary addresses come after all others of their device.
using IPv4Addresses = std::map<int, IPv4Address>;

/// Asks for all addresses at once.
IPv4Addresses readIPv4Addresses();

/// Reads one rtnetlink message; nullopt when it is about something else than an IPv4 address. What is missing
/// at the end of a message that was cut is missing in the result.
std::optional<IPv4Addresses::value_type> parseIPv4Address(std::span<const char> a_lMessage);

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

/// Reads the addresses of all devices.
std::vector<IPv6Address> readIPv6Addresses();

/// The addresses of all devices, read once for a refresh of several: each family on its first use.
class AddressLists
{
public:
    // They live as long as the object.
    const IPv4Addresses& getIPv4() const { return m_oIPv4 ? *m_oIPv4 : m_oIPv4.emplace(readIPv4Addresses()); }
    const std::vector<IPv6Address>& getIPv6() const
    {
        return m_oIPv6 ? *m_oIPv6 : m_oIPv6.emplace(readIPv6Addresses());
    }

private:
    mutable std::optional<IPv4Addresses> m_oIPv4;
    mutable std::optional<std::vector<IPv6Address>> m_oIPv6;
};

class IPAddresses
{
public:
    /// Reads the addresses; before, there are none.
    void refresh() { m_lIPv6 = readIPv6Addresses(); }

    /// Lives until the next refresh.
    const std::vector<IPv6Address>& getIPv6Addresses() const { return m_lIPv6; }
    bool IPv6AddressesIsEqual(const std::vector<IPv6Address>& a_lOther) const { return m_lIPv6 == a_lOther; }

private:
    std::vector<IPv6Address> m_lIPv6;
};

} // namespace zel::net
