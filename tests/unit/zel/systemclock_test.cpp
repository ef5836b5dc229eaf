#include "zel/systemclock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

TEST(SystemClock, ARuleThatIsTooLongIsUtcAndNotCut)
{
    const std::string sRule = "EST5EDT,M3.2.0,M11.1.0/";
    zel::setProcessZone(sRule + "2");
    EXPECT_EQ(::timezone, 5 * 3600);
    zel::setProcessZone(sRule + std::string(300, '0') + "2");
    EXPECT_EQ(::timezone, 0);
    EXPECT_EQ(::daylight, 0);
    ::unsetenv("TZ");
    ::tzset();
}
