#include "restore/limits.h"

#include <algorithm>
#include <unistd.h>

namespace zel::cfg {

namespace {

constexpr std::uint64_t c_iLargestDatabase = 512 * c_iMiB;
constexpr std::uint64_t c_iShareOfMemory = 4;
constexpr int c_iSecondsForMiB = 2; // forty times what a workstation takes for rows of a few bytes

} // namespace

Limits Limits::ofMachine()
{
    const auto iMemory = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) *
                         static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    return {std::min(c_iLargestDatabase, iMemory / c_iShareOfMemory)};
}

std::chrono::seconds Limits::time(std::uint64_t a_iTextSize) const
{
    return m_oLeast + c_iSecondsForMiB * std::chrono::seconds(a_iTextSize / c_iMiB);
}

} // namespace zel::cfg
