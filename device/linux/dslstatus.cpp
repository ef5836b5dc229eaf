#include "device/linux/dslstatus.h"

#include <charconv>
#include <system_error>

namespace zel::device {

namespace {

std::string_view trim(std::string_view a_sText)
{
    constexpr std::string_view c_sBlanks = " \t\r";
    const auto iFirst = a_sText.find_first_not_of(c_sBlanks);
    return iFirst == std::string_view::npos
               ? std::string_view()
               : a_sText.substr(iFirst, a_sText.find_last_not_of(c_sBlanks) - iFirst + 1);
}

/// 0 for a text that is no number of 32 bits.
std::uint32_t parseRate(std::string_view a_sText)
{
    std::uint32_t iRate = 0;
    const char* pEnd = a_sText.data() + a_sText.size();
    const auto oResult = std::from_chars(a_sText.data(), pEnd, iRate);
    return oResult.ec == std::errc() && oResult.ptr == pEnd ? iRate : 0;
}

struct Key
{
    std::string_view m_sName;
    void (*m_pTake)(DslLine& a_oLine, std::string_view a_sValue);
};

constexpr Key c_aKeys[] = {
    {"state", [](DslLine& a_oLine, std::string_view a_sValue) { a_oLine.m_iState = dslStateOf(a_sValue); }},
    {"upstream-rate",
     [](DslLine& a_oLine, std::string_view a_sValue) { a_oLine.m_iUpstream = parseRate(a_sValue); }},
    {"downstream-rate",
     [](DslLine& a_oLine, std::string_view a_sValue) { a_oLine.m_iDownstream = parseRate(a_sValue); }},
    {"transmission-system",
     [](DslLine& a_oLine, std::string_view a_sValue) {
         a_oLine.m_iTransmissionSystem = parseTransmissionSystem(a_sValue);
     }},
};

} // namespace

void takeStatusLine(DslLine& a_oLine, std::string_view a_sText)
{
    const auto iEquals = a_sText.find('=');
    if (iEquals == std::string_view::npos) {
        return;
    }
    const auto sName = trim(a_sText.substr(0, iEquals));
    for (const Key& oKey : c_aKeys) {
        if (oKey.m_sName == sName) {
            oKey.m_pTake(a_oLine, trim(a_sText.substr(iEquals + 1)));
        }
    }
}

} // namespace zel::device
