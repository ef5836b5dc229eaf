// The list of the networks that the WLAN radio sees and of the device's own access points: how they come,
// rename themselves and age out.
//
// Functions over a list and the time, in seconds since the epoch; nothing here keeps state. A scan
// pass adds what it sees, then marks and removes what it did not, both with the time at which it began.
#pragma once

#include "device/wlanapi.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace zel {

struct WlanScanEntry
{
    std::int32_t m_iId; // place in the list, counted from 1; 0 until the pass has ended
    std::string m_sSsid;
    std::string m_sMacAddress;
    std::int32_t m_iChannel;
    std::int32_t m_iChannel2;
    std::int32_t m_iSignal;
    std::string m_sStandard;
    std::int32_t m_iOwnAP; // 1 for an access point of the device, else 0
    std::time_t m_iLastSeen = 0;
    std::uint32_t m_iNotFound = 0; // passes since it was seen

    /// The same network.
    bool operator==(const WlanScanEntry& a_oOther) const
    {
        return m_sSsid == a_oOther.m_sSsid && m_sMacAddress == a_oOther.m_sMacAddress;
    }
};

using WlanList = std::vector<WlanScanEntry>;

/// No list gets longer. Networks that age out in time are fewer, however many are new in each pass.
constexpr std::size_t c_iMostNetworks = 2048;

/// The text of the library's 802.11 mode, "unknown" for a sum of standards that is not among the usual ones.
const char* ConvertApiEnumToWifiModeString(std::uint32_t a_iMode);

/// The networks of a result, at most as many as there is room for, whatever its count says.
WlanList toEntries(const ZEL_WLANAPI_ScanResult& a_oResult);

/// Puts the entry, seen at the time, in the place of the same network, else at the end; a network that
/// changed its name loses its old row.
void addAccessPoint(WlanList& a_lList, WlanScanEntry a_oEntry, std::time_t a_iSeen);

/// Counts a pass against each entry that was not seen in the very second: in a later one, too.
void markNotFound(WlanList& a_lList, std::time_t a_iPassBegin);

/// Removes what was not found in 11 passes or not seen for more than 180 seconds, and numbers the others.
void removeOutdated(WlanList& a_lList, std::time_t a_iPassBegin);

} // namespace zel
