// The table "SoftwareVersion": the first lines of the files that a build of the firmware leaves.
//
// Owned by the plugin of device information. Main thread only. A file that cannot be opened has a value that
// stands for it.
#pragma once

#include "plugins/deviceinforow.h"

namespace zel {

class VersionInfo : public DeviceInfoRow
{
public:
    /// The files of the four columns, below the root of the system.
    VersionInfo(std::string a_sSmall, std::string a_sFull, std::string a_sBuildDate, std::string a_sBuildId);

private:
    void read(systema::ValueList& a_lRow) override;
    static void loadValueFromFile(systema::ValueList& a_lRow, const char* a_pColumn,
                                  const std::string& a_sFile, const char* a_pFallback);

    const std::string m_sSmall;
    const std::string m_sFull;
    const std::string m_sBuildDate;
    const std::string m_sBuildId;
};

} // namespace zel
