// Arbitrary bytes as the kernel's answer to the question for a device: reading never leaves them, and a MAC
// address is one.
#include "zel/linkinfo.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    const auto oLink = zel::net::parseLinkInfo({reinterpret_cast<const char*>(a_pBytes), a_iSize});
    if (oLink && !oLink->m_sHwAddr.empty() && oLink->m_sHwAddr.size() != sizeof("00:00:00:00:00:00") - 1) {
        std::abort();
    }
    return 0;
}
