#include "device/dslapi.h"
#include "device/hwcap.h"
#include "tests/unit/device/systemroot.h"

#include <gtest/gtest.h>

TEST(ExampleBoard, TellsOfLineAndRadioInItsOwnWay)
{
    SystemRoot oRoot;
    const auto pContext = ZEL_DSLAPI_construct();
    const auto lineOf = [&](const char* a_pText) {
        oRoot.write("/proc/driver/dsl0", a_pText);
        ZEL_DSLAPI_resetFetchState(*pContext);
        return std::string(ZEL_DSLAPI_getLineStateString(ZEL_DSLAPI_getLineState(*pContext))) + " " +
               std::to_string(ZEL_DSLAPI_getG997ActualDataRate(*pContext, EDslDirection::Upstream)) + " " +
               ZEL_DSLAPI_getXDSLModeString(
                   ZEL_DSLAPI_getXDSLMode(ZEL_DSLAPI_getG997xTUTransmissionSystem(*pContext)));
    };
    EXPECT_EQ(lineOf("4 0 0 v\n"), "training 0 ");
    EXPECT_EQ(lineOf("5 1024 16000 v\n"), "showtime 1024 VDSL2 Annex B");
    EXPECT_EQ(lineOf("5 1024 16000 a\n"), "showtime 1024 ADSL2+ Annex B");
    for (const char* pBroken : {"", "\n", "17", "-5 1024 16000 v", "\xff"}) {
        EXPECT_EQ(lineOf(pBroken), "down 0 ") << pBroken;
    }
    EXPECT_EQ(ZEL_HWCAP_WLANsupport(0), 1);
    EXPECT_EQ(ZEL_HWCAP_WLANsupport(1), 0);
}
