#include "plugins/versioninfo.h"

#include "zel/lines.h"
#include "zel/systempath.h"

#include <utility>

namespace zel {

namespace {

constexpr std::size_t c_iLineBufferSize = 128;

} // namespace

VersionInfo::VersionInfo(std::string a_sSmall, std::string a_sFull, std::string a_sBuildDate,
                         std::string a_sBuildId)
    : DeviceInfoRow("SoftwareVersion"),
      m_sSmall(std::move(a_sSmall)),
      m_sFull(std::move(a_sFull)),
      m_sBuildDate(std::move(a_sBuildDate)),
      m_sBuildId(std::move(a_sBuildId))
{
}

void VersionInfo::read(systema::ValueList& a_lRow)
{
    loadValueFromFile(a_lRow, "VersionSmall", m_sSmall, "1.0-1.0.0");
    loadValueFromFile(a_lRow, "VersionFull", m_sFull, "Unknown package 1.0-1.0.0");
    loadValueFromFile(a_lRow, "BuildDate", m_sBuildDate, "Jul 13 2023");
    loadValueFromFile(a_lRow, "BuildId", m_sBuildId, "s0b0");
}

void VersionInfo::loadValueFromFile(systema::ValueList& a_lRow, const char* a_pColumn,
                                    const std::string& a_sFile, const char* a_pFallback)
{
    std::string sValue;
    bool bFirst = true;
    const auto keepFirst = [&](std::string_view a_sLine) {
        if (std::exchange(bFirst, false)) {
            sValue = a_sLine;
        }
    };
    if (!readLines(systemPath(a_sFile), c_iLineBufferSize, c_iLineBufferSize - 1, keepFirst)) {
        sValue = a_pFallback;
    }
    addText(a_lRow, a_pColumn, std::move(sValue));
}

} // namespace zel
