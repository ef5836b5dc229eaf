#include "status/wlanlist.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace zel {

namespace {

constexpr std::uint32_t c_iMostPasses = 11;
constexpr std::time_t c_iMostSeconds = 180;

/// The text up to its NUL; the last byte is never part of it.
template<std::size_t Size>
std::string textOf(const std::array<char, Size>& a_aBytes)
{
    return {a_aBytes.data(), ::strnlen(a_aBytes.data(), Size - 1)};
}

} // namespace

const char* ConvertApiEnumToWifiModeString(std::uint32_t a_iMode)
{
    // Not every sum of standards has a text, and 802.11n has one for both bands.
    switch (a_iMode) {
    case 1:
        return "802.11b";
    case 2:
        return "802.11g";
    case 3:
        return "802.11bg";
    case 4:
        return "802.11n";
    case 6:
        return "802.11gn";
    case 7:
        return "802.11bgn";
    case 12:
        return "802.11nax";
    case 15:
        return "802.11bgnax";
    case 32:
        return "802.11n";
    case 48:
        return "802.11na";
    case 72:
        return "802.11acax";
    case 112:
        return "802.11anac";
    case 240:
        return "802.11anacax";
    default:
        return "unknown";
    }
}

WlanList toEntries(const ZEL_WLANAPI_ScanResult& a_oResult)
{
    const std::size_t iCount = std::min<std::size_t>(a_oResult.m_iCount, a_oResult.m_aAps.size());
    WlanList lEntries;
    for (std::size_t i = 0; i < iCount; ++i) {
        const auto& oAp = a_oResult.m_aAps[i];
        lEntries.push_back({0, textOf(oAp.m_aSsid), textOf(oAp.m_aMac), oAp.m_iChannel,
                            std::max(0, oAp.m_iChannel2), oAp.m_iSignal,
                            ConvertApiEnumToWifiModeString(oAp.m_iMode), 0});
    }
    return lEntries;
}

void addAccessPoint(WlanList& a_lList, WlanScanEntry a_oEntry, std::time_t a_iSeen)
{
    a_oEntry.m_iLastSeen = a_iSeen;
    if (const auto it = std::ranges::find(a_lList, a_oEntry); it != a_lList.end()) {
        *it = std::move(a_oEntry);
        return;
    }
    std::erase_if(
        a_lList, [&](const WlanScanEntry& a_oOld) { return a_oOld.m_sMacAddress == a_oEntry.m_sMacAddress; });
    // Only passes within one second, which count against nothing, could fill the list.
    if (a_lList.size() < c_iMostNetworks) {
        a_lList.push_back(std::move(a_oEntry));
    }
}

void markNotFound(WlanList& a_lList, std::time_t a_iPassBegin)
{
    for (auto& oEntry : a_lList) {
        if (oEntry.m_iLastSeen != a_iPassBegin) {
            ++oEntry.m_iNotFound;
        }
    }
}

void removeOutdated(WlanList& a_lList, std::time_t a_iPassBegin)
{
    std::erase_if(a_lList, [&](const WlanScanEntry& a_oEntry) {
        return a_oEntry.m_iNotFound >= c_iMostPasses || a_oEntry.m_iLastSeen < a_iPassBegin - c_iMostSeconds;
    });
    std::int32_t iId = 0;
    for (auto& oEntry : a_lList) {
        oEntry.m_iId = ++iId;
    }
}

} // namespace zel
