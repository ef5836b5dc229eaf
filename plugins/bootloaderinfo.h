// The table "BootLoaderInfo": the settings that the boot loader left in /etc/bootloader.conf, a column each.
//
// Owned by the plugin of device information. Main thread only. The daemon does not go on without the file,
// nor with a setting whose value is not in double quotes.
#pragma once

#include "plugins/deviceinforow.h"

namespace zel {

class BootLoader : public DeviceInfoRow
{
public:
    BootLoader() : DeviceInfoRow("BootLoaderInfo") {}

private:
    void read(systema::ValueList& a_lRow) override;
};

} // namespace zel
