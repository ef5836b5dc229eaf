#include "device/deviceinfoenv.h"

#include "tests/unit/device/systemroot.h"

#include <gtest/gtest.h>

namespace {

/// The sources of root, services and default configuration.
std::string sources()
{
    std::string sTexts;
    for (const int iSource :
         {ZEL_DeviceInfoEnvAPI_getRootfsMountSource(), ZEL_DeviceInfoEnvAPI_getServicefsMountSource(),
          ZEL_DeviceInfoEnvAPI_getDefconfigMountSource()}) {
        sTexts.append(ZEL_DeviceInfoEnvAPI_mountSourceString(iSource)) += ' ';
    }
    return sTexts;
}

} // namespace

TEST(DeviceInfoEnv, TheLastMountOnAPointCounts)
{
    SystemRoot oRoot;
    EXPECT_EQ(sources(), "none none none ");
    const std::string sRootfs = "rootfs / rootfs rw 0 0\n/dev/root / squashfs ro 0 0\n";
    oRoot.write("/proc/mounts", sRootfs + "ubi0:services /opt/services ubifs rw 0 0\n"
                                          "/dev/mtdblock4 /opt/services/inner ext4 rw 0 0\n"
                                          "tmpfs /etc/defconfig tmpfs rw 0 0\n"
                                          "ubihost:/export /etc/defconfig nfs4 rw 0 0\n");
    EXPECT_EQ(sources(), "flash flash network ");
    oRoot.write("/proc/mounts", sRootfs + "overlay / overlay lowerdir=" + std::string(100000, 'x') +
                                    " 0 0\n/dev/mtdblock4 /opt/services ext4 rw 0 0\n"
                                    "/dev/disk /etc/defconfig ext4 0 0");
    EXPECT_EQ(sources(), "other flash disk ");
}

TEST(DeviceInfoEnv, LinesAreTakenByTheirFieldsWhateverTheirBytes)
{
    SystemRoot oRoot;
    oRoot.write("/proc/mounts", "/dev/sda1 \\057 ext4\n"         // an escape for each byte would do
                                "/dev/my\\040disk / ext4 rw\n"   // a blank within a field
                                "tmpfs /opt/services\n"          // without type
                                "tmpfs /opt/services\\0 tmpfs\n" // no escape
                                "tmpfs /etc/defconfig\xff\\ tmpfs\n\n   \n\\");
    EXPECT_EQ(sources(), "disk none none ");
    EXPECT_STREQ(ZEL_DeviceInfoEnvAPI_mountSourceString(-1), "unknown");
    EXPECT_STREQ(ZEL_DeviceInfoEnvAPI_mountSourceString(6), "unknown");
}
