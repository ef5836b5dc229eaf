#include "device/deviceinfoenv.h"
#include "device/deviceinfoppp.h"
#include "device/dslapi.h"
#include "device/hwcap.h"
#include "device/wlanapi.h"
#include "tests/unit/device/systemroot.h"

#include <gtest/gtest.h>

namespace {

class SimDevice : public testing::Test
{
protected:
    void become(const std::string& a_sJson) { m_oRoot.write("/var/run/ledgerd-sim.json", a_sJson); }

    /// What an outsider sees of the device now.
    static std::string described()
    {
        const auto mount = [](int a_iSource) {
            return std::string(ZEL_DeviceInfoEnvAPI_mountSourceString(a_iSource)) + " ";
        };
        std::string sText = mount(ZEL_DeviceInfoEnvAPI_getRootfsMountSource()) +
                            mount(ZEL_DeviceInfoEnvAPI_getServicefsMountSource()) +
                            mount(ZEL_DeviceInfoEnvAPI_getDefconfigMountSource()) +
                            ZEL_DeviceInfoPPPAPI_getPPPStatusString(ZEL_DeviceInfoPPPAPI_getPPPStatus(0));
        const auto pDsl = ZEL_DSLAPI_construct();
        sText.append("; ").append(ZEL_DSLAPI_getLineStateString(ZEL_DSLAPI_getLineState(*pDsl)));
        for (const auto eDirection : {EDslDirection::Upstream, EDslDirection::Downstream}) {
            sText.append(" ").append(std::to_string(ZEL_DSLAPI_getG997ActualDataRate(*pDsl, eDirection)));
        }
        sText.append(" ").append(ZEL_DSLAPI_getXDSLModeString(
            ZEL_DSLAPI_getXDSLMode(ZEL_DSLAPI_getG997xTUTransmissionSystem(*pDsl))));
        return sText + "; " + std::to_string(ZEL_HWCAP_WLANsupport(0)) +
               std::to_string(ZEL_HWCAP_WLANsupport(1)) + std::to_string(ZEL_HWCAP_WLANsupport(-1));
    }

    SystemRoot m_oRoot;
};

const std::string c_sNothing = "none none none Disconnected; down 0 0 ; 000";

} // namespace

TEST_F(SimDevice, IsThatOfTheDocumentsExample)
{
    const std::string sDocument = readFile(LEDGERD_DOCS "/porting.md");
    const std::size_t iBegin = sDocument.find("```json") + 7;
    become(sDocument.substr(iBegin, sDocument.find("```", iBegin) - iBegin));
    EXPECT_EQ(described(), "flash network ram Connected; showtime 10087 51392 VDSL2 Annex B; 100");
    char aMessage[9];
    EXPECT_EQ(ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName("ppp0", aMessage, sizeof(aMessage)), 0);
    EXPECT_STREQ(aMessage, "SRU=1024");
    EXPECT_EQ(ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName("ppp1", aMessage, sizeof(aMessage)), -1);
    EXPECT_STREQ(aMessage, "");

    ZEL_WLANAPI_Handle pWlan;
    ASSERT_EQ(ZEL_WLANAPI_Construct(pWlan), 0);
    EXPECT_EQ(ZEL_WLANAPI_Tools_CheckInterfaceAvailability(*pWlan), c_iWlanUp);
    for (const int iNone : {0, 2, -1}) {
        EXPECT_NE(ZEL_WLANAPI_SetActiveConfig(*pWlan, iNone), 0) << iNone;
    }
    ASSERT_EQ(ZEL_WLANAPI_SetActiveConfig(*pWlan, 1), 0);
    EXPECT_STREQ(ZEL_WLANAPI_Ap_GetSsid(*pWlan), "gateway");
    ZEL_WLANAPI_ScanResult oResult;
    ASSERT_EQ(ZEL_WLANAPI_Info_ScanAps(*pWlan, oResult), 0);
    ASSERT_EQ(oResult.m_iCount, 1U);
    EXPECT_STREQ(oResult.m_aAps[0].m_aSsid.data(), "neighbour");
    EXPECT_EQ(oResult.m_aAps[0].m_iMode, 240U);
}

TEST_F(SimDevice, IsNothingWithoutAUsableFile)
{
    EXPECT_EQ(described(), c_sNothing);
    for (const std::string& sJson :
         {std::string(), std::string("[]"), std::string(R"({"dsl":{"state":"showtime"})"),
          std::string("\0{}", 3), std::string(100000, '['),
          std::string(R"({"mounts":[],"dsl":"showtime","ppp":{"ppp0":2},"wlan":{"radios":"2"}})")}) {
        become(sJson);
        EXPECT_EQ(described(), c_sNothing) << sJson.substr(0, 200);
    }
    become(R"({"dsl":{"state":"showtime"}})" + std::string(128U << 10U, ' '));
    EXPECT_EQ(described(), "none none none Disconnected; showtime 0 0 ; 000") << "its end does not matter";
    become(R"({"mounts":{"rootfs":9},"ppp":{"ppp0":{"state":-1}},
               "dsl":{"state":7,"upstream-rate":4294967295,"downstream-rate":99999999999}})");
    EXPECT_EQ(described(), "unknown none none Unknown; unknown 4294967295 4294967295 ; 000");
}
