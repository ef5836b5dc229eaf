#include "storage/databaselimit.h"

#include "zel/fileparser.h"
#include "zel/log.h"
#include "zel/systempath.h"

#include <algorithm>
#include <charconv>
#include <sys/statvfs.h>

namespace systema {

namespace {

constexpr const char* c_pKey = "database-limit";
constexpr std::uint64_t c_iMiB = 1024 * 1024;
constexpr std::uint64_t c_iShares = 4; // of the file system

std::string trim(const std::string& a_sText)
{
    constexpr const char* c_pAround = " \t\r\""; // the other readers of the file allow quotes
    const auto iBegin = a_sText.find_first_not_of(c_pAround);
    return iBegin == std::string::npos
               ? ""
               : a_sText.substr(iBegin, a_sText.find_last_not_of(c_pAround) + 1 - iBegin);
}

std::uint64_t readSetting()
{
    const std::string sFile = zel::systemPath("/etc/ledger-store.conf");
    zel::FileParser oFile;
    oFile.parse(zel::FileParser::EMode::File, sFile, c_pKey, '=');
    std::uint64_t iLimit = c_iDefaultLimitMiB;
    for (const auto& lLine : oFile.getLines()) {
        if (trim(oFile.getToken(lLine, 0)) != c_pKey) {
            continue;
        }
        const std::string sValue = trim(oFile.getToken(lLine, 1));
        const char* pEnd = sValue.data() + sValue.size();
        std::uint64_t iValue = 0;
        const auto [pRest, eError] = std::from_chars(sValue.data(), pEnd, iValue);
        if (eError == std::errc() && pRest == pEnd && iValue >= 1 && iValue <= c_iGreatestLimitMiB) {
            iLimit = iValue;
        } else {
            ZEL_Sysloglevel_error(ZEL_Sysloglevel_registerModul("SQLiteWrap"), zel::here(),
                                  "%s: %s is no number from 1 to %u: %s", sFile.c_str(), c_pKey,
                                  static_cast<unsigned>(c_iGreatestLimitMiB), sValue.c_str());
        }
    }
    return iLimit * c_iMiB;
}

} // namespace

std::uint64_t readDatabaseLimit(const std::string& a_sDirectory)
{
    const std::uint64_t iLimit = readSetting();
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
