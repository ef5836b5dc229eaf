#include "zel/systemclock.h"

#include "zel/systempath.h"

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

struct timezone kernelZoneOf(const ZoneNames& a_oNames)
{
    const int iDaylight = a_oNames.m_bDaylight ? 1 : 0;
    return {a_oNames.m_iSecondsWest / 60 - 60 * iDaylight, iDaylight};
}

} // namespace zel
