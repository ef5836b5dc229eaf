#include "device/sim/simfile.h"

namespace {

constexpr int c_iFailure = -1;

} // namespace

int ZEL_WLANAPI_Construct(ZEL_WLANAPI_Handle& a_pContext)
{
    const auto oDevice = zel::device::readSimDevice();
    if (oDevice.m_iAvailability < 0) {
        return c_iFailure;
    }
    a_pContext.reset(new ZEL_WLANAPI_Context{oDevice.m_iAvailability});
    for (const auto& oAccessPoint : oDevice.m_lAccessPoints) {
        a_pContext->m_lConfigs.push_back(
            {oAccessPoint.m_oAccessPoint, [lNetworks = oAccessPoint.m_oNetworks] { return lNetworks; }});
    }
    return 0;
}
