#include "storage/databaselimit.h"

#include "storage/storeconfiguration.h"

#include <algorithm>
#include <sys/statvfs.h>

namespace systema {

namespace {

constexpr std::uint64_t c_iMiB = 1024 * 1024;
constexpr std::uint64_t c_iShares = 4; // of the file system

} // namespace

std::uint64_t findDatabaseLimit(const StoreConfiguration& a_oConfiguration, const std::string& a_sDirectory)
{
    const std::uint64_t iLimit = a_oConfiguration.limitMiB() * c_iMiB;
    struct statvfs oSystem
    {
    };
    // A file system in RAM that was mounted without a size has no blocks.
    const bool bSized = ::statvfs(a_sDirectory.c_str(), &oSystem) == 0 && oSystem.f_blocks > 0;
    return bSized ? std::min<std::uint64_t>(iLimit,
                                            std::uint64_t{oSystem.f_blocks} * oSystem.f_frsize / c_iShares)
                  : iLimit;
}

} // namespace systema
