#include "server/waitseconds.h"

#include <charconv>

namespace zel::cfg {

std::optional<unsigned> parseWaitSeconds(std::string_view a_sText)
{
    unsigned iSeconds = 0;
    const char* pEnd = a_sText.data() + a_sText.size();
    const auto [pRest, eError] = std::from_chars(a_sText.data(), pEnd, iSeconds);
    const bool bNumber = eError == std::errc() && pRest == pEnd && iSeconds <= c_iLongestWaitSeconds;
    return bNumber ? std::optional(iSeconds) : std::nullopt;
}

} // namespace zel::cfg
