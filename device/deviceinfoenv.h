// Where the device's file systems come from.
//
// Replaced per board. Any thread; nothing throws but std::bad_alloc.
#pragma once

/// The code of the source that the root file system is mounted from; see the board's texts.
int ZEL_DeviceInfoEnvAPI_getRootfsMountSource();
/// The same of the file system with the services.
int ZEL_DeviceInfoEnvAPI_getServicefsMountSource();
/// The same of the file system with the default configuration.
int ZEL_DeviceInfoEnvAPI_getDefconfigMountSource();
/// The text of a code, never null; "unknown" for a number that is none. Lives for ever.
const char* ZEL_DeviceInfoEnvAPI_mountSourceString(int a_iSource);
