// The WLAN radios as the kernel tells of them through nl80211.
#include "device/linux/nl80211.h"

#include <algorithm>
#include <chrono>
#include <map>

namespace zel::device {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int c_iNoRadio = 0;
constexpr int c_iRadioDown = 1;

/// The radio leaves its channel to scan. What it found is kept by the kernel for 30 s.
constexpr std::chrono::seconds c_oScanPause{15};

/// Contexts come and go with each look at the networks, so the time of the last scan is kept beside them.
bool isScanDue(std::uint32_t a_iInterface)
{
    thread_local std::map<std::uint32_t, Clock::time_point> mScans;
    const auto oNow = Clock::now();
    const auto [it, bFirst] = mScans.try_emplace(a_iInterface, oNow);
    const bool bDue = bFirst || oNow - it->second >= c_oScanPause;
    if (bDue) {
        it->second = oNow;
    }
    return bDue;
}

/// Gives what is known now, and has a scan made for the next time.
std::optional<Networks> scan(Nl80211& a_oKernel, std::uint32_t a_iInterface,
                             const std::set<std::string>& a_lOwnMacs)
{
    auto oNetworks = a_oKernel.getNetworks(a_iInterface);
    if (oNetworks) {
        removeRepeated(*oNetworks, a_lOwnMacs);
    }
    if (isScanDue(a_iInterface)) {
        a_oKernel.startScan(a_iInterface);
    }
    return oNetworks;
}

void fill(ZEL_WLANAPI_Context& a_oContext)
{
    const auto pKernel = std::make_shared<Nl80211>();
    const auto lRadios = pKernel->getRadios();
    a_oContext.m_iAvailability = lRadios.empty() ? c_iNoRadio : c_iRadioDown;
    auto lInterfaces = pKernel->getAccessPoints();
    std::set<std::string> lMacs;
    for (const auto& oInterface : lInterfaces) {
        lMacs.insert(oInterface.m_oAccessPoint.m_sMac);
    }
    for (auto& oInterface : lInterfaces) {
        auto& oAccessPoint = oInterface.m_oAccessPoint;
        const auto it = std::ranges::find(lRadios, oInterface.m_iRadio, &Radio::m_iNumber);
        if (it != lRadios.end()) {
            oAccessPoint.m_iMode = modeOf(*it, oInterface.m_iFrequency, oInterface.m_iWidth);
        }
        if (!oAccessPoint.m_sSsid.empty()) {
            a_oContext.m_iAvailability = c_iWlanUp;
        }
        a_oContext.m_lConfigs.push_back(
            {std::move(oAccessPoint),
             [pKernel, iIndex = oInterface.m_iIndex, lMacs] { return scan(*pKernel, iIndex, lMacs); }});
    }
}

} // namespace

} // namespace zel::device

int ZEL_WLANAPI_Construct(ZEL_WLANAPI_Handle& a_pContext)
{
    a_pContext.reset(new ZEL_WLANAPI_Context);
    zel::device::fill(*a_pContext);
    return 0;
}
