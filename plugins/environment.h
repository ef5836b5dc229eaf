// The table "Environment": where the device's file systems come from and what its hardware can do.
//
// Owned by the plugin of device information. Main thread only. What the device does not know is a text that
// says so.
#pragma once

#include "plugins/deviceinforow.h"

namespace zel {

class Environment : public DeviceInfoRow
{
public:
    Environment() : DeviceInfoRow("Environment") {}

private:
    void read(systema::ValueList& a_lRow) override;
};

} // namespace zel
