// What the daemon sets of the machine: the system clock and the kernel's time zone.
//
// Where systemPath() puts another root in front of the paths, the machine is left alone: what would have been
// set is in /var/run/ledgerd-clock ("1700000000") and /var/run/ledgerd-zone ("-120 1") below that root.
// Main thread only. A failure is false, with errno.
#pragma once

#include "zel/zonerule.h"

#include <ctime>
#include <string_view>
#include <sys/time.h>

namespace zel {

/// Sets the system clock to seconds since 1970-01-01 00:00 UTC.
bool setSystemClock(std::time_t a_iSeconds);

/// Sets the kernel's time zone. The time that it is now comes along: without it the kernel would take the
/// first zone that it is told for a correction of its clock.
bool setKernelZone(const timeval& a_oNow, const struct timezone& a_oZone);

/// The zone in the form that the kernel takes: the minutes west of UTC, less an hour in a zone that has
/// daylight saving, whatever the season, and whether it has. The zone of this process, which its log lines
/// have and its commands inherit, is the system's to set.
struct timezone kernelZoneOf(const ZoneNames& a_oNames);

} // namespace zel
