// What the kernel tells of radios, access points and networks in its nl80211 messages.
//
// Free functions over the attributes of one message; any thread, nothing throws but std::bad_alloc. The
// elements of a network come from whoever sends in the neighbourhood and may be any bytes.
#pragma once

#include "device/linux/netlink.h"
#include "device/wlanconfig.h"

#include <array>
#include <cstdint>
#include <set>

namespace zel::device {

struct Radio
{
    static constexpr std::size_t c_iBands = 4; // numbered as the kernel does

    std::uint32_t m_iNumber = 0;
    std::array<int, c_iBands> m_aModes{}; // what it can do as an access point, see ZEL_WLANAPI_Ap_GetMode

    bool operator==(const Radio&) const = default;
};

struct WlanInterface
{
    std::uint32_t m_iRadio = 0;
    std::uint32_t m_iIndex = 0;
    unsigned m_iFrequency = 0;    // MHz, 0 while it is down
    unsigned m_iWidth = 0;        // MHz, 0 without 802.11n and its successors
    AccessPoint m_oAccessPoint{}; // its mode is not known

    bool operator==(const WlanInterface&) const = default;
};

/// A part of what the kernel tells of a radio, which may take several messages; nothing when it is of none.
std::optional<Radio> parseRadio(Bytes a_lAttributes);

/// An interface that is an access point; nothing for any other.
std::optional<WlanInterface> parseAccessPoint(Bytes a_lAttributes);

/// A network that was seen; nothing for one without BSSID. The signal is a percentage.
std::optional<ZEL_WLANAPI_ScanAp> parseNetwork(Bytes a_lAttributes);

/// Leaves out the device's own access points, which hear one another, and what has no name and is there with
/// its name, too: of a hidden network the kernel keeps the beacon beside what the network has answered.
void removeRepeated(Networks& a_lNetworks, const std::set<std::string>& a_lOwnMacs);

/// What the radio does as an access point on this frequency and width.
int modeOf(const Radio& a_oRadio, unsigned a_iFrequency, unsigned a_iWidth);

/// Sorts by radio and interface number, but the second of a radio comes after the first of all others.
void sortAccessPoints(std::vector<WlanInterface>& a_lInterfaces);

} // namespace zel::device
