#include "zel/systemclock.h"

#include "zel/systempath.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <fstream>
#include <optional>
#include <string>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace zel {

namespace {

bool isOtherRoot()
{
    return !systemPath("").empty();
}

bool note(std::string_view a_sPath, const std::string& a_sText)
{
    return static_cast<bool>(std::ofstream(systemPath(a_sPath)) << a_sText << std::endl);
}

bool isNamePart(unsigned char a_iByte, bool a_bQuoted)
{
    return std::isalpha(a_iByte) != 0 ||
           (a_bQuoted && (std::isdigit(a_iByte) != 0 || a_iByte == '+' || a_iByte == '-'));
}

/// Takes the name of a zone from the start: three characters or more, which may be in angle brackets.
bool takeName(std::string_view& a_sRule)
{
    const bool bQuoted = a_sRule.starts_with('<');
    a_sRule.remove_prefix(bQuoted ? 1 : 0);
    const auto itEnd = std::ranges::find_if_not(a_sRule, [&](char a_c) { return isNamePart(a_c, bQuoted); });
    const auto iLength = static_cast<std::size_t>(itEnd - a_sRule.begin());
    a_sRule.remove_prefix(iLength);
    const bool bClosed = !bQuoted || a_sRule.starts_with('>');
    a_sRule.remove_prefix(bQuoted && bClosed ? 1 : 0);
    return iLength >= 3 && bClosed;
}

/// Takes hours, minutes and seconds ("-5:30") from the start; nothing when there are no hours.
std::optional<int> takeSeconds(std::string_view& a_sRule)
{
    const int iSign = a_sRule.starts_with('-') ? -1 : 1;
    a_sRule.remove_prefix(a_sRule.starts_with('-') || a_sRule.starts_with('+') ? 1 : 0);
    std::optional<int> oSeconds;
    for (const auto& [iUnit, iMost] : {std::pair(3600, 24), std::pair(60, 59), std::pair(1, 59)}) {
        int iNumber = 0;
        const auto [pEnd, eError] = std::from_chars(a_sRule.data(), a_sRule.data() + a_sRule.size(), iNumber);
        if (eError == std::errc::invalid_argument || iNumber < 0) {
            break;
        }
        oSeconds = oSeconds.value_or(0) + iSign * std::min(iNumber, iMost) * iUnit;
        a_sRule.remove_prefix(static_cast<std::size_t>(pEnd - a_sRule.data()));
        if (!a_sRule.starts_with(':')) {
            break;
        }
        a_sRule.remove_prefix(1);
    }
    return oSeconds;
}

} // namespace

bool setSystemClock(std::time_t a_iSeconds)
{
    if (isOtherRoot()) {
        return note("/var/run/ledgerd-clock", std::to_string(a_iSeconds));
    }
    const timespec oTime{a_iSeconds, 0};
    return ::clock_settime(CLOCK_REALTIME, &oTime) == 0;
}

bool setKernelZone(const timeval& a_oNow, const struct timezone& a_oZone)
{
    if (isOtherRoot()) {
        return note("/var/run/ledgerd-zone",
                    std::to_string(a_oZone.tz_minuteswest) + " " + std::to_string(a_oZone.tz_dsttime));
    }
    // Not the function of the name: in newer C libraries it refuses time and zone together.
    const long aNow[] = {static_cast<long>(a_oNow.tv_sec), static_cast<long>(a_oNow.tv_usec)};
    return ::syscall(SYS_settimeofday, aNow, &a_oZone) == 0;
}

struct timezone kernelZoneOf(std::string_view a_sRule)
{
    const bool bNamed = takeName(a_sRule);
    const auto oSeconds = bNamed ? takeSeconds(a_sRule) : std::nullopt;
    const int iDaylight = oSeconds && takeName(a_sRule) ? 1 : 0;
    return {oSeconds.value_or(0) / 60 - 60 * iDaylight, iDaylight};
}

} // namespace zel
