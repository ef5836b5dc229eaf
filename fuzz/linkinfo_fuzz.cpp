// Arbitrary bytes as the kernel's answer to the question for a device or for addresses: reading never leaves
// them, and a MAC address is one.
#include "zel/ipaddresses.h"
#include "zel/linkinfo.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    const std::span lMessage(reinterpret_cast<const char*>(a_pBytes), a_iSize);
    zel::net::parseIPv4Address(lMessage);
    const auto oLink = zel::net::parseLinkInfo(lMessage);
    if (oLink && !oLink->m_sHwAddr.empty() && oLink->m_sHwAddr.size() != sizeof("00:00:00:00:00:00") - 1) {
        std::abort();
    }
    return 0;
}
