// Where the object of a network service is.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace zel {

/// "com.kestrane.network.IPv4Route" is at "/com/kestrane/network/IPv4Route".
inline std::string objectPathOf(std::string_view a_sService)
{
    std::string sPath = std::string("/").append(a_sService);
    std::ranges::replace(sPath, '.', '/');
    return sPath;
}

} // namespace zel
