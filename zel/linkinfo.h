// What the kernel knows of one network device: one question to rtnetlink, whatever the number of devices.
//
// Plain values and functions without state; any thread. The devices are those of the thread's network
// namespace. Nothing throws but std::bad_alloc.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace zel::net {

/// 32 bits of the kernel's counters: they start again at 0 after 4294967295.
struct LinkCounters
{
    std::uint32_t m_iTxPackets = 0;
    std::uint32_t m_iTxBytes = 0;
    std::uint32_t m_iRxPackets = 0;
    std::uint32_t m_iRxBytes = 0;

    bool operator==(const LinkCounters&) const = default;
};

struct LinkInfo
{
    bool m_bUp = false;    // set up by its administrator, with or without link
    std::string m_sHwAddr; // MAC address as "02:00:00:00:00:01", empty when it has none
    unsigned m_iMTU = 0;   // bytes
    LinkCounters m_oCounters;
    int m_iIndex = 0; // the kernel's number of the device

    bool operator==(const LinkInfo&) const = default;
};

/// Asks for the device of that name; nothing when there is none.
std::optional<LinkInfo> readLinkInfo(const std::string& a_sDevice);

/// Reads the kernel's answer, one rtnetlink message; nothing when it tells of no device. What is missing at
/// the end of a message that was cut is missing in the result.
std::optional<LinkInfo> parseLinkInfo(std::span<const char> a_lMessage);

} // namespace zel::net
