#include "zel/zonerule.h"

#include <algorithm>
#include <cctype>

namespace zel {

namespace {

/// Takes the character from the start. False when another is there.
bool take(std::string_view& a_sText, char a_c)
{
    const bool bFound = a_sText.starts_with(a_c);
    a_sText.remove_prefix(bFound ? 1 : 0);
    return bFound;
}

/// Takes a number of so many digits from the start; nullopt when it is not in the range.
std::optional<int> takeNumber(std::string_view& a_sText, std::size_t a_iMostDigits, int a_iLeast, int a_iMost)
{
    const auto isDigit = [](unsigned char a_iByte) { return std::isdigit(a_iByte) != 0; };
    const auto iDigits =
        std::min(static_cast<std::size_t>(std::ranges::find_if_not(a_sText, isDigit) - a_sText.begin()),
                 a_iMostDigits);
    int iNumber = 0;
    for (const char cDigit : a_sText.substr(0, iDigits)) {
        iNumber = iNumber * 10 + (cDigit - '0');
    }
    a_sText.remove_prefix(iDigits);
    return iDigits > 0 && iNumber >= a_iLeast && iNumber <= a_iMost ? std::optional(iNumber) : std::nullopt;
}

bool takeName(std::string_view& a_sText)
{
    constexpr std::ptrdiff_t c_iShortest = 3;
    constexpr std::ptrdiff_t c_iLongest = 6; // some C libraries cut longer ones and misread the rest
    const bool bQuoted = take(a_sText, '<');
    const auto isPart = [&](unsigned char a_iByte) {
        return bQuoted ? std::isalnum(a_iByte) != 0 || a_iByte == '+' || a_iByte == '-'
                       : std::isalpha(a_iByte) != 0;
    };
    const auto iLength = std::ranges::find_if_not(a_sText, isPart) - a_sText.begin();
    a_sText.remove_prefix(static_cast<std::size_t>(iLength));
    return iLength >= c_iShortest && iLength <= c_iLongest && (!bQuoted || take(a_sText, '>'));
}

/// Takes "hh[:mm[:ss]]" with an optional sign from the start.
std::optional<int> takeSeconds(std::string_view& a_sText, std::size_t a_iHourDigits, int a_iMostHours)
{
    constexpr int c_iHour = 3600;
    const int iSign = take(a_sText, '-') ? -1 : 1;
    if (iSign > 0) {
        take(a_sText, '+');
    }
    const auto oHours = takeNumber(a_sText, a_iHourDigits, 0, a_iMostHours);
    if (!oHours) {
        return std::nullopt;
    }
    int iSeconds = *oHours * c_iHour;
    for (int iUnit = c_iHour / 60; iUnit > 0 && take(a_sText, ':'); iUnit /= 60) {
        const std::size_t iBefore = a_sText.size();
        const auto oNumber = takeNumber(a_sText, 2, 0, 59);
        if (!oNumber || iBefore - a_sText.size() != 2) {
            return std::nullopt;
        }
        iSeconds += *oNumber * iUnit;
    }
    return iSeconds <= a_iMostHours * c_iHour ? std::optional(iSign * iSeconds) : std::nullopt;
}

bool takeDate(std::string_view& a_sText)
{
    if (take(a_sText, 'M')) {
        return takeNumber(a_sText, 2, 1, 12) && take(a_sText, '.') && takeNumber(a_sText, 1, 1, 5) &&
               take(a_sText, '.') && takeNumber(a_sText, 1, 0, 6);
    }
    const int iFirst = take(a_sText, 'J') ? 1 : 0; // with J there is no 29th of February
    return takeNumber(a_sText, 3, iFirst, 365).has_value();
}

} // namespace

std::optional<ZoneNames> parseZoneNames(std::string_view a_sText)
{
    constexpr int c_iMostHours = 24;
    const auto oWest = takeName(a_sText) ? takeSeconds(a_sText, 2, c_iMostHours) : std::nullopt;
    if (!oWest) {
        return std::nullopt;
    }
    const bool bDaylight = !a_sText.empty();
    const bool bSound =
        !bDaylight || (takeName(a_sText) && (a_sText.empty() || takeSeconds(a_sText, 2, c_iMostHours)));
    return bSound && a_sText.empty() ? std::optional(ZoneNames{*oWest, bDaylight}) : std::nullopt;
}

bool isZoneDate(std::string_view a_sText)
{
    constexpr int c_iMostHours = 167;
    return takeDate(a_sText) && (!take(a_sText, '/') || takeSeconds(a_sText, 3, c_iMostHours)) &&
           a_sText.empty();
}

} // namespace zel
