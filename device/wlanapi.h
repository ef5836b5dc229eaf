// The WLAN radio: the device's own access points and the networks around.
//
// Replaced per board. A context belongs to one thread; nothing throws but std::bad_alloc. A device without a
// radio is one whose radio never becomes available.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

struct ZEL_WLANAPI_Context;

void ZEL_WLANAPI_Destruct(ZEL_WLANAPI_Context* a_pContext);

struct ZEL_WLANAPI_Release
{
    void operator()(ZEL_WLANAPI_Context* a_pContext) const { ZEL_WLANAPI_Destruct(a_pContext); }
};
using ZEL_WLANAPI_Handle = std::unique_ptr<ZEL_WLANAPI_Context, ZEL_WLANAPI_Release>;

/// A network that the radio sees. The layout is shared with the boards' drivers.
struct ZEL_WLANAPI_ScanAp
{
    std::int32_t m_iChannel;           // primary channel
    std::int32_t m_iChannel2;          // secondary channel, negative for none
    std::int32_t m_iSignal;            // see the board; on Linux a percentage
    std::array<char, 33> m_aSsid;      // NUL-terminated, any other bytes
    std::array<char, 27> m_aMac;       // NUL-terminated text
    std::uint32_t m_iMode;             // see ZEL_WLANAPI_Ap_GetMode
    std::array<std::byte, 4> m_aOther; // not used
};
static_assert(sizeof(ZEL_WLANAPI_ScanAp) == 80 && offsetof(ZEL_WLANAPI_ScanAp, m_aSsid) == 12 &&
              offsetof(ZEL_WLANAPI_ScanAp, m_aMac) == 45 && offsetof(ZEL_WLANAPI_ScanAp, m_iMode) == 72);

struct ZEL_WLANAPI_ScanResult
{
    std::uint32_t m_iCount; // may say more than there is room for
    std::array<ZEL_WLANAPI_ScanAp, 64> m_aAps;
};
static_assert(offsetof(ZEL_WLANAPI_ScanResult, m_aAps) == 4);

/// The least availability of a radio that is up.
constexpr int c_iWlanUp = 2;

// Results are 0 on success unless something else is said.

/// On success the context is not null.
int ZEL_WLANAPI_Construct(ZEL_WLANAPI_Handle& a_pContext);
/// 0 no radio, 1 a radio that is down, c_iWlanUp or more one that is up.
int ZEL_WLANAPI_Tools_CheckInterfaceAvailability(ZEL_WLANAPI_Context& a_oContext);
/// Selects the access point, 1 or 2, that the functions below are about.
int ZEL_WLANAPI_SetActiveConfig(ZEL_WLANAPI_Context& a_oContext, int a_iAccessPoint);
/// The network's name or null; valid until the next call with the context.
const char* ZEL_WLANAPI_Ap_GetSsid(ZEL_WLANAPI_Context& a_oContext);
/// The BSSID as text or null; valid until the next call with the context.
const char* ZEL_WLANAPI_Phy_GetApMac(ZEL_WLANAPI_Context& a_oContext);
/// 0 when there is none.
int ZEL_WLANAPI_Phy_GetCurrentChannel(ZEL_WLANAPI_Context& a_oContext);
/// Negative when there is none.
int ZEL_WLANAPI_Phy_GetSecondChannel(ZEL_WLANAPI_Context& a_oContext);
/// The sum of 1 for 802.11b, 2 g, 4 n at 2.4 GHz, 8 ax at 2.4 GHz, 16 a, 32 n at 5 GHz, 64 ac, 128 ax at
/// 5 GHz; 0 when unknown.
int ZEL_WLANAPI_Ap_GetMode(ZEL_WLANAPI_Context& a_oContext);
/// Lists the networks that the selected access point's radio sees, without the device's own access points.
int ZEL_WLANAPI_Info_ScanAps(ZEL_WLANAPI_Context& a_oContext, ZEL_WLANAPI_ScanResult& a_oResult);
