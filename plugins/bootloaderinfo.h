// The table "BootLoaderInfo", which its file is named after: the settings that the boot loader left in
// /etc/bootloader.conf, a column each.
//
// Owned by the plugin of device information. Main thread only. The daemon does not go on without the file,
// nor with a setting whose value is not in double quotes.
#pragma once

#include "plugins/deviceinforow.h"
#include "plugins/settings.h"

namespace zel {

class BootLoader : public DeviceInfoRow
{
public:
    BootLoader() : DeviceInfoRow("BootLoaderInfo") {}

    /// NAME="value"; what follows the value is not looked at, and a line without "=" is no setting. A value
    /// that does not begin with a quote is an assertion.
    static std::optional<Setting> parse(std::string_view a_sLine);

private:
    void read(systema::ValueList& a_lRow) override;
};

} // namespace zel
