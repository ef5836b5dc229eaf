#include "device/deviceinfoenv.h"

#include "device/sim/simfile.h"

using zel::device::readSimDevice;

int ZEL_DeviceInfoEnvAPI_getRootfsMountSource()
{
    return readSimDevice().m_oMounts.m_iRootfs;
}

int ZEL_DeviceInfoEnvAPI_getServicefsMountSource()
{
    return readSimDevice().m_oMounts.m_iServicefs;
}

int ZEL_DeviceInfoEnvAPI_getDefconfigMountSource()
{
    return readSimDevice().m_oMounts.m_iDefconfig;
}
