// The parts of a POSIX time zone, "CET-1CEST,M3.5.0,M10.5.0/3", by the grammar of the variable TZ.
//
// The check is strict: the C library silently uses UTC for a malformed rule. A rule
// that begins with ":" names a file of the C library and is refused. Functions over text; nothing throws.
#pragma once

#include <optional>
#include <string_view>

namespace zel {

struct ZoneNames
{
    int m_iSecondsWest; // of UTC, at standard time
    bool m_bDaylight;   // whether the zone has daylight saving time

    bool operator==(const ZoneNames&) const = default;
};

/// What stands before the first comma: a name and its offset, perhaps a second name for daylight saving time,
/// perhaps with an offset too. A name has three to six letters or, in angle brackets, letters, digits and
/// signs; an offset at most 24 hours. nullopt if the text is anything else.
std::optional<ZoneNames> parseZoneNames(std::string_view a_sText);

/// True for the date of a change, perhaps with a time: "M3.5.0/2", "J60", "59". A time is within 167 hours to
/// either side of midnight, as the zones of some countries need.
bool isZoneDate(std::string_view a_sText);

} // namespace zel
