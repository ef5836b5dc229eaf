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

bool isUnnamed(const Setting& a_oSetting)
{
    return a_oSetting.m_sName.empty() || a_oSetting.m_sName == "Id";
}

/// What is wrong with a line that does not stop the daemon, null when nothing is. Never holds the value,
/// which may be a secret. An empty line and a comment are no settings, and no faults.
const char* faultOf(std::string_view a_sLine, const std::optional<Setting>& a_oSetting,
                    const std::vector<Setting>& a_lBefore)
{
    if (!a_oSetting) {
        const auto iFirst = a_sLine.find_first_not_of(" \t\r");
        const bool bEmpty = iFirst == std::string_view::npos || a_sLine[iFirst] == '#';
        return bEmpty ? nullptr : "is left out: it is not of the form NAME=\"VALUE\"";
    }
    if (isUnnamed(*a_oSetting)) {
        return "is left out: it has no name, or the name Id";
    }
    if (std::ranges::count(a_sLine.substr(a_sLine.find('=')), '"') < 2) {
        return "the value is not in two double quotes";
    }
    return std::ranges::find(a_lBefore, a_oSetting->m_sName, &Setting::m_sName) != a_lBefore.end()
               ? "the name stands in a line before this one"
               : nullptr;
}

/// Logs the faults of a file, each in a line: the first of them, and how many more there are.
class FaultLog
{
public:
    FaultLog(int a_iModule, const std::string& a_sSource) : m_iModule(a_iModule), m_sSource(a_sSource) {}
    FaultLog(const FaultLog&) = delete;
    FaultLog& operator=(const FaultLog&) = delete;
    ~FaultLog()
    {
        if (m_iFaults > c_iMostLogged) {
            ZEL_Sysloglevel_error(m_iModule, here(), "%s: %zu more lines are wrong", m_sSource.c_str(),
                                  m_iFaults - c_iMostLogged);
        }
    }

    void add(std::size_t a_iLine, const char* a_pFault)
    {
        if (++m_iFaults <= c_iMostLogged) {
            ZEL_Sysloglevel_error(m_iModule, here(), "%s: line %zu: %s", m_sSource.c_str(), a_iLine,
                                  a_pFault);
        }
    }

private:
    static constexpr std::size_t c_iMostLogged = 20;

    const int m_iModule;
    const std::string& m_sSource;
    std::size_t m_iFaults = 0;
};

} // namespace

std::vector<Setting> parseSettings(std::string_view a_sText, SettingParser a_pParse,
                                   const std::string& a_sSource)
{
    std::vector<Setting> lSettings;
    bool bCut = a_sText.size() > c_iMostSettingsBytes;
    if (bCut) { // whole lines only: half a value is a wrong one
        a_sText = a_sText.substr(0, a_sText.rfind('\n', c_iMostSettingsBytes - 1) + 1);
    }
    const int iModule = ZEL_Sysloglevel_registerModul("DeviceInfo");
    FaultLog oFaults(iModule, a_sSource);
    for (std::size_t iLine = 1; !a_sText.empty(); ++iLine) {
        auto sLine = a_sText.substr(0, a_sText.find('\n'));
        a_sText.remove_prefix(std::min(sLine.size() + 1, a_sText.size()));
        sLine = sLine.substr(0, sLine.find('\0'));
        auto oSetting = parseLine(sLine, iLine, a_pParse, a_sSource);
        if (const char* pFault = faultOf(sLine, oSetting, lSettings)) {
            oFaults.add(iLine, pFault);
        }
        if (!oSetting || isUnnamed(*oSetting)) {
            continue;
        }
        if (lSettings.size() == c_iMostSettings) {
            bCut = true;
            break;
        } else {
            lSettings.push_back(std::move(*oSetting));
        }
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
