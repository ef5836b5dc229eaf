#include "device/wlanapi.h"

#include "device/hwcap.h"
#include "tests/networknamespace.h"

namespace {

/// Radios belong to a network namespace; the test's own has none.
class WlanApi : public NetworkTest
{
};

} // namespace

TEST_F(WlanApi, WithoutARadioThereIsNoAccessPoint)
{
    EXPECT_EQ(ZEL_HWCAP_WLANsupport(0), 0);
    ZEL_WLANAPI_Handle pContext;
    ASSERT_EQ(ZEL_WLANAPI_Construct(pContext), 0);
    EXPECT_EQ(ZEL_WLANAPI_Tools_CheckInterfaceAvailability(*pContext), 0);
    EXPECT_NE(ZEL_WLANAPI_SetActiveConfig(*pContext, 1), 0);
    EXPECT_EQ(ZEL_WLANAPI_Ap_GetSsid(*pContext), nullptr);
    EXPECT_EQ(ZEL_WLANAPI_Phy_GetCurrentChannel(*pContext), 0);
    EXPECT_LT(ZEL_WLANAPI_Phy_GetSecondChannel(*pContext), 0);
    ZEL_WLANAPI_ScanResult oResult;
    EXPECT_NE(ZEL_WLANAPI_Info_ScanAps(*pContext, oResult), 0);
}
