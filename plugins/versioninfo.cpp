#include "plugins/versioninfo.h"

#include "zel/lines.h"
#include "zel/systempath.h"

namespace zel {

namespace {

constexpr std::size_t c_iLongestValue = 127;

struct VersionColumn
{
    const char* m_pName;
    const char* m_pFile;
    const char* m_pFallback;
};

constexpr VersionColumn c_aColumns[] = {
    {"VersionSmall", "/etc/zel-version-small.txt", "1.0-1.0.0"},
    {"VersionFull", "/etc/zel-version-static.txt", "Unknown package 1.0-1.0.0"},
    {"BuildDate", "/etc/build.txt", "Jul 13 2023"},
    {"BuildId", "/etc/build_id.txt", "s0b0"},
};

} // namespace

void VersionInfo::read(systema::ValueList& a_lRow)
{
    for (const auto& oColumn : c_aColumns) {
        loadValueFromFile(a_lRow, oColumn.m_pName, oColumn.m_pFile, oColumn.m_pFallback);
    }
}

void VersionInfo::loadValueFromFile(systema::ValueList& a_lRow, const char* a_pColumn, const char* a_pFile,
                                    const char* a_pFallback)
{
    addText(a_lRow, a_pColumn, readFirstLine(systemPath(a_pFile), c_iLongestValue).value_or(a_pFallback));
}

} // namespace zel
