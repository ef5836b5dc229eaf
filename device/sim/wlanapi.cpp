#include "device/sim/simfile.h"

int ZEL_WLANAPI_Construct(ZEL_WLANAPI_Handle& a_pContext)
{
    const auto oDevice = zel::device::readSimDevice();
    a_pContext.reset(new ZEL_WLANAPI_Context{oDevice.m_iAvailability});
    for (const auto& oAccessPoint : oDevice.m_lAccessPoints) {
        a_pContext->m_lConfigs.push_back(
            {oAccessPoint.m_oAccessPoint, [lNetworks = oAccessPoint.m_oNetworks] { return lNetworks; }});
    }
    return 0;
}
