#include "device/deviceinfoppp.h"

#include "device/pppstate.h"
#include "device/sim/simfile.h"

namespace {

zel::device::SimPppLink link(const std::string& a_sInterface)
{
    auto mLinks = zel::device::readSimDevice().m_mPppLinks;
    return std::move(mLinks[a_sInterface]);
}

} // namespace

int ZEL_DeviceInfoPPPAPI_getPPPStatus(int a_iUnit)
{
    return link("ppp" + std::to_string(a_iUnit)).m_iState;
}

int ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName(const char* a_pName, char* a_pBuffer, std::size_t a_iSize)
{
    return zel::device::putMessage(link(a_pName == nullptr ? "" : a_pName).m_oMessage, a_pBuffer, a_iSize);
}
