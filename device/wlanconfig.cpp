#include "device/wlanconfig.h"

#include <algorithm>

namespace {

constexpr int c_iFailure = -1;

const char* textOrNull(const std::string& a_sText)
{
    return a_sText.empty() ? nullptr : a_sText.c_str();
}

} // namespace

void ZEL_WLANAPI_Destruct(ZEL_WLANAPI_Context* a_pContext)
{
    delete a_pContext;
}

int ZEL_WLANAPI_Tools_CheckInterfaceAvailability(ZEL_WLANAPI_Context& a_oContext)
{
    return a_oContext.m_iAvailability;
}

int ZEL_WLANAPI_SetActiveConfig(ZEL_WLANAPI_Context& a_oContext, int a_iAccessPoint)
{
    if (a_iAccessPoint < 1 || static_cast<std::size_t>(a_iAccessPoint) > a_oContext.m_lConfigs.size()) {
        return c_iFailure;
    }
    a_oContext.m_oActive = a_oContext.m_lConfigs[static_cast<std::size_t>(a_iAccessPoint) - 1];
    return 0;
}

const char* ZEL_WLANAPI_Ap_GetSsid(ZEL_WLANAPI_Context& a_oContext)
{
    return textOrNull(a_oContext.m_oActive.m_oAccessPoint.m_sSsid);
}

const char* ZEL_WLANAPI_Phy_GetApMac(ZEL_WLANAPI_Context& a_oContext)
{
    return textOrNull(a_oContext.m_oActive.m_oAccessPoint.m_sMac);
}

int ZEL_WLANAPI_Phy_GetCurrentChannel(ZEL_WLANAPI_Context& a_oContext)
{
    return a_oContext.m_oActive.m_oAccessPoint.m_iChannel;
}

int ZEL_WLANAPI_Phy_GetSecondChannel(ZEL_WLANAPI_Context& a_oContext)
{
    return a_oContext.m_oActive.m_oAccessPoint.m_iChannel2;
}

int ZEL_WLANAPI_Ap_GetMode(ZEL_WLANAPI_Context& a_oContext)
{
    return a_oContext.m_oActive.m_oAccessPoint.m_iMode;
}

int ZEL_WLANAPI_Info_ScanAps(ZEL_WLANAPI_Context& a_oContext, ZEL_WLANAPI_ScanResult& a_oResult)
{
    const auto& oScan = a_oContext.m_oActive.m_oScan;
    const auto oNetworks = oScan ? oScan() : std::nullopt;
    if (!oNetworks) {
        return c_iFailure;
    }
    a_oResult.m_iCount = static_cast<std::uint32_t>(oNetworks->size());
    std::copy_n(oNetworks->begin(), std::min(oNetworks->size(), a_oResult.m_aAps.size()),
                a_oResult.m_aAps.begin());
    return 0;
}
