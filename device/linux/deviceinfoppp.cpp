// PPP links as the kernel and pppd's own files show them.
#include "device/deviceinfoppp.h"

#include "device/pppstate.h"
#include "zel/daemon.h"
#include "zel/lines.h"
#include "zel/netdevice.h"
#include "zel/systempath.h"

#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t c_iMostBytes = 4096;

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
    return ZEL_Daemon_namesProcess(oPppd) ? zel::device::c_iPppConnecting : zel::device::c_iPppDisconnected;
}

int ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName(const char* a_pName, char* a_pBuffer, std::size_t a_iSize)
{
    const std::string_view sName = a_pName == nullptr ? "" : a_pName;
    const bool bPlain = !sName.empty() && sName.find('/') == std::string_view::npos;
    const std::string sPath = zel::systemPath("/var/run/ppp-auth-message.").append(sName);
    return zel::device::putMessage(bPlain ? zel::readFirstLine(sPath, c_iMostBytes) : std::nullopt, a_pBuffer,
                                   a_iSize);
}
