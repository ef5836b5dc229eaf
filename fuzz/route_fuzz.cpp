// Arbitrary bytes as the output of "ip -j route list": whatever can be read is numbered by its place and
// holds no NUL.
#include "fuzz/require.h"
#include "status/routelist.h"

namespace {

bool isText(const std::string& a_sText)
{
    return a_sText.find('\0') == std::string::npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    const std::string sText(reinterpret_cast<const char*>(a_pBytes), a_iSize);
    const auto oElements = zel::parseRoutes(sText);
    // The smallest element and its separator are two bytes.
    require(!oElements || oElements->size() <= a_iSize / 2);
    int iPlace = 0;
    for (const auto& oElement : oElements.value_or(std::vector<zel::RouteElement>())) {
        ++iPlace;
        if (const auto* pRoute = std::get_if<zel::RouteEntry>(&oElement)) {
            require(pRoute->m_iId == iPlace);
            require(isText(pRoute->m_sDestination) && isText(pRoute->m_sGateway) &&
                    isText(pRoute->m_sInterface));
        }
    }
    return 0;
}
