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
    VersionInfo() : DeviceInfoRow("SoftwareVersion") {}

private:
    void read(systema::ValueList& a_lRow) override;
    static void loadValueFromFile(systema::ValueList& a_lRow, const char* a_pColumn, const char* a_pFile,
                                  const char* a_pFallback);
};

} // namespace zel
