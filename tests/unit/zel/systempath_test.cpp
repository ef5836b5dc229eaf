#include "zel/systempath.h"

#include <gtest/gtest.h>

#include <stdlib.h>

TEST(SystemPath, putsTheRootInFrontOfEveryPath)
{
    ::unsetenv("LEDGERD_ROOT");
    EXPECT_EQ(zel::systemPath("/etc/TZ"), "/etc/TZ");
    ::setenv("LEDGERD_ROOT", "/tmp/demo", 1);
    EXPECT_EQ(zel::systemPath("/etc/TZ"), "/tmp/demo/etc/TZ");
    EXPECT_EQ(zel::systemPath(""), "/tmp/demo");
    ::unsetenv("LEDGERD_ROOT");
}
