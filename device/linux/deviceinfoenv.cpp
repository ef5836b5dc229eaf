// Where the device's file systems come from, as /proc/mounts tells.
#include "device/deviceinfoenv.h"

#include "device/linux/mounts.h"
#include "device/mountsource.h"
#include "zel/lines.h"
#include "zel/systempath.h"

namespace {

constexpr std::string_view c_sRootfs = "/";
constexpr std::string_view c_sServicefs = "/opt/services";
constexpr std::string_view c_sDefconfig = "/etc/defconfig";

constexpr std::size_t c_iMostBytes = 1U << 20U;
constexpr std::size_t c_iLineBufferSize = c_iMostBytes + 2; // no line is cut

/// The last mount on a point hides those before it.
int sourceOf(std::string_view a_sPoint)
{
    int iSource = zel::device::c_iNotMounted;
    zel::readLines(zel::systemPath("/proc/mounts"), c_iLineBufferSize, c_iMostBytes,
                   [&](std::string_view a_sLine) {
                       const auto oMount = zel::device::parseMount(a_sLine);
                       if (oMount && oMount->m_sPoint == a_sPoint) {
                           iSource = zel::device::sourceOf(*oMount);
                       }
                   });
    return iSource;
}

} // namespace

int ZEL_DeviceInfoEnvAPI_getRootfsMountSource()
{
    return sourceOf(c_sRootfs);
}

int ZEL_DeviceInfoEnvAPI_getServicefsMountSource()
{
    return sourceOf(c_sServicefs);
}

int ZEL_DeviceInfoEnvAPI_getDefconfigMountSource()
{
    return sourceOf(c_sDefconfig);
}
