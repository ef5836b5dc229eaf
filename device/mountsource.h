// What file systems are mounted from, for boards that have no numbers of their own.
//
// Plain values; any thread. ZEL_DeviceInfoEnvAPI_mountSourceString comes with them.
#pragma once

#include <string_view>

namespace zel::device {

enum EMountSource
{
    c_iNotMounted = 0,
    c_iFlash = 1,   // raw flash: MTD and UBI
    c_iNetwork = 2, // a server
    c_iRam = 3,
    c_iDisk = 4, // any other block device, memory cards and sticks too
    c_iOther = 5 // the kernel's own, and what lies over others
};

/// The number of the text, 0 for a text that is none.
int mountSourceOf(std::string_view a_sText);

} // namespace zel::device
