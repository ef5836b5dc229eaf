#include "status/wlanscan.h"

#include "systema/refusal.h"
#include "zel/log.h"

#include <algorithm>
#include <optional>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;

namespace {

constexpr Column<WlanScanEntry> c_aColumns[] = {
    column<&WlanScanEntry::m_iId>("Id"),
    column<&WlanScanEntry::m_sSsid>("Ssid"),
    column<&WlanScanEntry::m_sMacAddress>("MacAddress"),
    column<&WlanScanEntry::m_iChannel>("Channel"),
    column<&WlanScanEntry::m_iChannel2>("Channel2"),
    column<&WlanScanEntry::m_iSignal>("Signal"),
    column<&WlanScanEntry::m_sStandard>("Standard"),
    column<&WlanScanEntry::m_iOwnAP>("OwnAP"),
};

constexpr std::int32_t c_iOwnSignal = 100;
constexpr int c_iNoAccessPoint = 0; // what a warning about the radio as a whole is about

/// A copy, as the library's text does not outlive the next call.
std::optional<std::string> copyOf(const char* a_pText)
{
    return a_pText == nullptr ? std::nullopt : std::optional<std::string>(a_pText);
}

} // namespace

WlanScan::WlanScan(BootClock a_oNow)
    : FrozenTable("WlanScan", c_aColumns),
      m_oNow(std::move(a_oNow)),
      m_iModule(ZEL_Sysloglevel_registerModul("WlanScan"))
{
}

/// False without a radio. In a transaction the first request alone can be told so.
bool WlanScan::refresh()
{
    if (m_oLock.isTaken()) {
        return true;
    }
    m_oLock.lock();
    if (!isCacheExpired() || scan()) {
        return true;
    }
    systema::noteRefusal(systema::EResultCode::Failure, "there is no radio, or it is not up");
    return false;
}

/// Always, unless the clock went back or fails: every request wants to see the radio as it is now.
bool WlanScan::isCacheExpired()
{
    const std::time_t iNow = m_oNow();
    if (iNow < m_iScanTime) {
        return false;
    }
    m_iScanTime = iNow;
    return true;
}

bool WlanScan::scan()
{
    const std::time_t iPassBegin = m_oNow();
    ZEL_WLANAPI_Handle pContext;
    if (ZEL_WLANAPI_Construct(pContext) != 0) {
        warn(c_iNoAccessPoint, "Could not construct WlanApi");
        return false;
    }
    if (ZEL_WLANAPI_Tools_CheckInterfaceAvailability(*pContext) < c_iWlanUp) {
        warn(c_iNoAccessPoint, "AP isn't up yet!Skip!");
        return false;
    }
    for (const int iAccessPoint : {1, 2}) {
        retrieveOwn(*pContext, iAccessPoint);
        retrieveScanned(*pContext, iAccessPoint);
    }
    markNotFound(m_lRows, iPassBegin);
    removeOutdated(m_lRows, iPassBegin);
    return true;
}

void WlanScan::retrieveOwn(ZEL_WLANAPI_Context& a_oContext, int a_iAccessPoint)
{
    const std::time_t iSeen = m_oNow();
    if (!activate(a_oContext, a_iAccessPoint)) {
        return;
    }
    const auto oSsid = copyOf(ZEL_WLANAPI_Ap_GetSsid(a_oContext));
    const auto oMac = copyOf(ZEL_WLANAPI_Phy_GetApMac(a_oContext));
    const int iChannel = ZEL_WLANAPI_Phy_GetCurrentChannel(a_oContext);
    const int iChannel2 = ZEL_WLANAPI_Phy_GetSecondChannel(a_oContext);
    const int iMode = ZEL_WLANAPI_Ap_GetMode(a_oContext);
    if (oSsid && oMac && iChannel >= 1 && iMode != 0) {
        addAccessPoint(m_lRows,
                       {0, *oSsid, *oMac, iChannel, std::max(0, iChannel2), c_iOwnSignal,
                        ConvertApiEnumToWifiModeString(static_cast<std::uint32_t>(iMode)), 1},
                       iSeen);
    } else if (warn(a_iAccessPoint, "Could not get own AP data!Skip!")) {
        ZEL_Sysloglevel_info(m_iModule, hereWithExtension(),
                             "Retrieved AP%d data: SSID: '%s', MAC: '%s', CH: %d, CH2: %d, Mode: %d",
                             a_iAccessPoint, oSsid.value_or("(null)").c_str(),
                             oMac.value_or("(null)").c_str(), iChannel, iChannel2, iMode);
    }
}

void WlanScan::retrieveScanned(ZEL_WLANAPI_Context& a_oContext, int a_iAccessPoint)
{
    const std::time_t iSeen = m_oNow(); // of all that the scan finds, however long it takes
    if (!activate(a_oContext, a_iAccessPoint)) {
        return;
    }
    ZEL_WLANAPI_ScanResult oResult{};
    if (ZEL_WLANAPI_Info_ScanAps(a_oContext, oResult) != 0) {
        warn(a_iAccessPoint, "Could not retrieve scan results!");
        return;
    }
    for (auto& oEntry : toEntries(oResult)) {
        addAccessPoint(m_lRows, std::move(oEntry), iSeen);
    }
}

bool WlanScan::activate(ZEL_WLANAPI_Context& a_oContext, int a_iAccessPoint)
{
    const bool bActive = ZEL_WLANAPI_SetActiveConfig(a_oContext, a_iAccessPoint) == 0;
    if (!bActive) {
        warn(a_iAccessPoint, "Could not activate AP" + std::to_string(a_iAccessPoint));
    }
    return bActive;
}

/// True when the warning was logged: the same one about the same access point was not, in the last minute.
bool WlanScan::warn(int a_iAccessPoint, const std::string& a_sText, SourceTag a_oSource)
{
    const std::time_t iNow = m_oNow();
    const auto [it, bNew] = m_mWarned.try_emplace({a_iAccessPoint, a_sText}, iNow);
    if (!bNew && iNow >= it->second && iNow < it->second + c_iWarningSeconds) {
        return false;
    }
    it->second = iNow;
    ZEL_Sysloglevel_warning(m_iModule, a_oSource, "%s", a_sText.c_str());
    return true;
}

} // namespace zel
