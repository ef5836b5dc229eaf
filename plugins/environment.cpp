#include "plugins/environment.h"

#include "device/deviceinfoenv.h"
#include "device/hwcap.h"

namespace zel {

void Environment::read(systema::ValueList& a_lRow)
{
    const auto addSource = [&](const char* a_pName, int a_iSource) {
        addText(a_lRow, a_pName, ZEL_DeviceInfoEnvAPI_mountSourceString(a_iSource));
    };
    addSource("RootfsMountSource", ZEL_DeviceInfoEnvAPI_getRootfsMountSource());
    addSource("ServicefsMountSource", ZEL_DeviceInfoEnvAPI_getServicefsMountSource());
    addSource("DefconfigMountSource", ZEL_DeviceInfoEnvAPI_getDefconfigMountSource());
    addInteger(a_lRow, "WlanSupport", ZEL_HWCAP_WLANsupport(0));
    addInteger(a_lRow, "IsHost", 0);
}

} // namespace zel
