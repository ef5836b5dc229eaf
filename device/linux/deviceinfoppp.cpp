// PPP links as the kernel and pppd's own files show them.
#include "device/deviceinfoppp.h"

#include "device/pppstate.h"
#include "zel/daemon.h"
#include "zel/lines.h"
#include "zel/netdevice.h"
#include "zel/systempath.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace {

bool hasAddress(const zel::net::NetDeviceState& a_oState)
{
    return a_oState.m_sAddr != zel::net::c_pNoAddress ||
           a_oState.m_iIPv6LinkAddrs + a_oState.m_iIPv6SiteAddrs + a_oState.m_iIPv6GlobalAddrs > 0;
}

} // namespace

int ZEL_DeviceInfoPPPAPI_getPPPStatus(int a_iUnit)
{
    const std::string sDevice = "ppp" + std::to_string(a_iUnit);
    const zel::net::NetDevice oDevice(sDevice);
    const auto& oState = oDevice.getState();
    if (oState.m_bUp) {
        return hasAddress(oState) ? zel::device::c_iPppConnected : zel::device::c_iPppConfiguring;
    }
    const auto oPppd = ZEL_Daemon_construct(sDevice.c_str(), zel::systemPath("/var/run"));
    return ZEL_Daemon_occupiedPidFile(oPppd) ? zel::device::c_iPppConnecting
                                             : zel::device::c_iPppDisconnected;
}

int ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName(const char* a_pName, char* a_pBuffer, std::size_t a_iSize)
{
    if (a_pBuffer == nullptr || a_iSize == 0) {
        return -1;
    }
    *a_pBuffer = '\0';
    const std::string_view sName = a_pName == nullptr ? "" : a_pName;
    if (sName.empty() || sName.find('/') != std::string_view::npos) {
        return -1;
    }
    bool bFirst = true;
    const auto oKeepFirst = [&](std::string_view a_sLine) {
        if (std::exchange(bFirst, false)) {
            a_pBuffer[a_sLine.copy(a_pBuffer, a_iSize - 1)] = '\0';
        }
    };
    const std::string sPath = zel::systemPath("/var/run/ppp-auth-message.").append(sName);
    if (!zel::readLines(sPath, std::max<std::size_t>(a_iSize, 2), a_iSize - 1, oKeepFirst)) {
        *a_pBuffer = '\0';
        return -1;
    }
    return 0;
}
