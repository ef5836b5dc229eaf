#include "plugins/settings.h"

#include "zel/assert.h"
#include "zel/lines.h"
#include "zel/log.h"
#include "zel/systempath.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace zel {

namespace {

/// What the assertion says of a line is in the log already; who starts the daemon wants to know where.
std::optional<Setting> parseLine(std::string_view a_sLine, std::size_t a_iLine, SettingParser a_pParse,
                                 const std::string& a_sSource)
{
    try {
        return a_pParse(a_sLine);
    } catch (const error::AssertionError&) {
        const std::string sName(a_sLine.substr(0, a_sLine.find('=')));
        throw std::runtime_error(a_sSource + ": line " + std::to_string(a_iLine) +
                                 ": the value is not in double quotes, as in " + sName + "=\"VALUE\"");
    }
}

} // namespace

std::vector<Setting> parseSettings(std::string_view a_sText, SettingParser a_pParse,
                                   const std::string& a_sSource)
{
    std::vector<Setting> lSettings;
    bool bCut = a_sText.size() > c_iMostSettingsBytes;
    if (bCut) { // whole lines only: half a value is a wrong one
        a_sText = a_sText.substr(0, a_sText.rfind('\n', c_iMostSettingsBytes - 1) + 1);
    }
    bool bUnnamed = false;
    for (std::size_t iLine = 1; !a_sText.empty(); ++iLine) {
        const auto sLine = a_sText.substr(0, a_sText.find('\n'));
        a_sText.remove_prefix(std::min(sLine.size() + 1, a_sText.size()));
        auto oSetting = parseLine(sLine.substr(0, sLine.find('\0')), iLine, a_pParse, a_sSource);
        if (!oSetting) {
            continue;
        }
        if (oSetting->m_sName.empty() || oSetting->m_sName == "Id") {
            bUnnamed = true;
        } else if (lSettings.size() == c_iMostSettings) {
            bCut = true;
            break;
        } else {
            lSettings.push_back(std::move(*oSetting));
        }
    }
    const int iModule = ZEL_Sysloglevel_registerModul("DeviceInfo");
    if (bUnnamed) {
        ZEL_Sysloglevel_error(iModule, here(),
                              "%s has settings without a name or with the name Id; they are left out",
                              a_sSource.c_str());
    }
    if (bCut) {
        ZEL_Sysloglevel_error(iModule, here(),
                              "%s has more than %zu settings or %zu bytes; the rest is left out",
                              a_sSource.c_str(), c_iMostSettings, c_iMostSettingsBytes);
    }
    return lSettings;
}

std::vector<Setting> readSettings(const char* a_pPath, SettingParser a_pParse, const char* a_pExpression,
                                  SourceTag a_oSource)
{
    const std::string sPath = systemPath(a_pPath);
    errno = 0;
    const auto oText = readFile(sPath, c_iMostSettingsBytes + 1); // one more tells that there is more
    error::Resource(oText.has_value(), a_pExpression,
                    sPath + ": " + (errno != 0 ? std::strerror(errno) : "not a regular file") +
                        ": the daemon does not start without this file, which may be empty",
                    a_oSource);
    return parseSettings(*oText, a_pParse, sPath);
}

} // namespace zel
