#include "plugins/settings.h"

#include "zel/assert.h"
#include "zel/lines.h"
#include "zel/log.h"
#include "zel/systempath.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace zel {

namespace {

constexpr std::size_t c_iMostBytes = 16U << 20U;

} // namespace

std::vector<Setting> readSettings(const char* a_pPath, SettingParser a_pParse, const char* a_pExpression,
                                  SourceTag a_oSource)
{
    const std::string sPath = systemPath(a_pPath);
    std::vector<Setting> lSettings;
    bool bLeftOut = false;
    bool bLineGoesOn = false;
    const auto oTake = [&](std::string_view a_sLine) {
        if (std::exchange(bLineGoesOn, a_sLine.size() == c_iLongestLine)) {
            bLeftOut = bLeftOut || !a_sLine.empty();
            return;
        }
        if (auto oSetting = a_pParse(a_sLine)) {
            if (lSettings.size() < c_iMostSettings) {
                lSettings.push_back(std::move(*oSetting));
            } else {
                bLeftOut = true;
            }
        }
    };
    errno = 0;
    const bool bRead = readLines(sPath, c_iLongestLine + 1, c_iMostBytes, oTake);
    error::Resource(bRead, a_pExpression,
                    sPath + ": " + (errno != 0 ? std::strerror(errno) : "not a regular file"), a_oSource);
    if (bLeftOut) {
        ZEL_Sysloglevel_error(ZEL_Sysloglevel_registerModul("DeviceInfo"), a_oSource,
                              "%s has more than %zu settings or %zu bytes in a line; the rest is left out",
                              sPath.c_str(), c_iMostSettings, c_iLongestLine);
    }
    return lSettings;
}

} // namespace zel
