// The lines of /proc/mounts.
//
// Free functions over text, which may hold any bytes; any thread, nothing throws but std::bad_alloc.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zel::device {

struct Mount
{
    std::string m_sDevice;
    std::string m_sPoint;
    std::string m_sType;
};

/// Nothing for a line that tells of no mount.
std::optional<Mount> parseMount(std::string_view a_sLine);

/// Where the file system comes from; see device/mountsource.h.
int sourceOf(const Mount& a_oMount);

} // namespace zel::device
