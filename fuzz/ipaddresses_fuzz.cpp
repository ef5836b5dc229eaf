// Arbitrary bytes as the kernel's list of IPv6 addresses: whatever is read is sorted, an address and a name.
#include "zel/ipaddresses.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdlib>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    std::istringstream oText({reinterpret_cast<const char*>(a_pBytes), a_iSize});
    const auto lAddresses = zel::net::parseIPv6Addresses(oText);
    in6_addr oParsed;
    if (!std::ranges::is_sorted(lAddresses) ||
        !std::ranges::all_of(lAddresses, [&](const zel::net::IPv6Address& a_oAddress) {
            return !a_oAddress.getName().empty() &&
                   ::inet_pton(AF_INET6, a_oAddress.getAddr().c_str(), &oParsed) == 1;
        })) {
        std::abort();
    }
    return 0;
}
