// Arbitrary bytes as what the kernel tells of radios, access points and networks: reading never leaves them,
// and what can be read is in its bounds.
#include "device/linux/wlanmessages.h"
#include "fuzz/require.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    const zel::device::Bytes lBytes(a_pBytes, a_iSize);
    if (const auto oNetwork = zel::device::parseNetwork(lBytes)) {
        require(oNetwork->m_aSsid.back() == '\0' && std::strlen(oNetwork->m_aMac.data()) == 17);
        require(oNetwork->m_iSignal >= 0 && oNetwork->m_iSignal <= 100);
        require(oNetwork->m_iChannel >= 0 && oNetwork->m_iChannel2 != 0 && oNetwork->m_iMode < 256);
    }
    const auto oInterface = zel::device::parseAccessPoint(lBytes);
    const auto oRadio = zel::device::parseRadio(lBytes);
    if (oInterface && oRadio) {
        require(oInterface->m_oAccessPoint.m_iChannel >= 0 && oInterface->m_oAccessPoint.m_iChannel2 != 0);
        const int iMode = modeOf(*oRadio, oInterface->m_iFrequency, oInterface->m_iWidth);
        require(iMode >= 0 && iMode < 256);
    }
    return 0;
}
