// Arbitrary bytes as the file of the simulated device: its records are ended texts.
#include "device/sim/simfile.h"

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    const auto oDevice = zel::device::parseSimDevice({reinterpret_cast<const char*>(a_pBytes), a_iSize});
    for (const auto& oAccessPoint : oDevice.m_lAccessPoints) {
        for (const auto& oNetwork : oAccessPoint.m_oNetworks.value_or(zel::device::Networks())) {
            if (oNetwork.m_aSsid.back() != '\0' || oNetwork.m_aMac.back() != '\0') {
                std::abort();
            }
        }
    }
    return 0;
}
