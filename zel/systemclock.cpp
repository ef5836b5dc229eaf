#include "zel/systemclock.h"

#include "zel/systempath.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

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

/// The rule with one and the same name for every zone: a C library keeps each name that it ever saw, and
/// opens the file that a name leads to. Less than three characters are no name, and are left out.
std::string withoutNames(std::string_view a_sRule)
{
    const std::string_view sNames = a_sRule.substr(0, a_sRule.find(','));
    std::string sResult;
    bool bQuoted = false;
    int iLength = 0;
    for (const char c : sNames) {
        if (c == '<' || c == '>') {
            bQuoted = c == '<';
        } else if (!isNamePart(c, bQuoted)) {
            sResult += c;
            iLength = 0;
        } else if (++iLength == 3) {
            sResult += "LOC";
        }
    }
    return sResult.append(a_sRule.substr(sNames.size()));
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

void setProcessZone(std::string_view a_sRule)
{
    // Of fixed room, which stays where it is: another thread may just be starting a command with it.
    static char s_aVariable[256];
    const std::string sVariable = "TZ=" + withoutNames(a_sRule);
    const bool bFits = sVariable.size() < sizeof(s_aVariable);
    std::snprintf(s_aVariable, sizeof(s_aVariable), "%s", bFits ? sVariable.c_str() : "TZ=");
    ::putenv(s_aVariable);
    ::tzset();
}

} // namespace zel
