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
        std::string sText =
            ZEL_DeviceInfoEnvAPI_mountSourceString(ZEL_DeviceInfoEnvAPI_getRootfsMountSource());
        sText.append(" ").append(
            ZEL_DeviceInfoEnvAPI_mountSourceString(ZEL_DeviceInfoEnvAPI_getServicefsMountSource()));
        sText.append(" ").append(
            ZEL_DeviceInfoEnvAPI_mountSourceString(ZEL_DeviceInfoEnvAPI_getDefconfigMountSource()));
        sText.append("; ").append(
            ZEL_DeviceInfoPPPAPI_getPPPStatusString(ZEL_DeviceInfoPPPAPI_getPPPStatus(0)));
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
    static ZEL_WLANAPI_Handle wlan()
    {
        ZEL_WLANAPI_Handle pContext;
        EXPECT_EQ(ZEL_WLANAPI_Construct(pContext), 0);
        return pContext;
    }

    SystemRoot m_oRoot;
};

const std::string c_sNothing = "none none none; Disconnected; down 0 0 ; 000";

} // namespace

TEST_F(SimDevice, IsThatOfTheDocumentsExample)
{
    const std::string sDocument = readFile(LEDGERD_DOCS "/porting.md");
    const std::size_t iBegin = sDocument.find("```json") + 7;
    become(sDocument.substr(iBegin, sDocument.find("```", iBegin) - iBegin));
    EXPECT_EQ(described(), "flash network ram; Connected; showtime 10087 51392 VDSL2 Annex B; 100");
    char aMessage[9];
    EXPECT_EQ(ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName("ppp0", aMessage, sizeof(aMessage)), 0);
    EXPECT_STREQ(aMessage, "SRU=1024");
    EXPECT_EQ(ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName("ppp1", aMessage, sizeof(aMessage)), -1);
    EXPECT_STREQ(aMessage, "");

    const auto pWlan = wlan();
    EXPECT_EQ(ZEL_WLANAPI_Tools_CheckInterfaceAvailability(*pWlan), c_iWlanUp);
    for (const int iNone : {0, 2, -1}) {
        EXPECT_NE(ZEL_WLANAPI_SetActiveConfig(*pWlan, iNone), 0) << iNone;
    }
    ASSERT_EQ(ZEL_WLANAPI_SetActiveConfig(*pWlan, 1), 0);
    EXPECT_STREQ(ZEL_WLANAPI_Ap_GetSsid(*pWlan), "gateway");
    EXPECT_STREQ(ZEL_WLANAPI_Phy_GetApMac(*pWlan), "02:00:00:00:00:01");
    EXPECT_EQ(ZEL_WLANAPI_Phy_GetCurrentChannel(*pWlan), 6);
    EXPECT_EQ(ZEL_WLANAPI_Phy_GetSecondChannel(*pWlan), 10);
    EXPECT_EQ(ZEL_WLANAPI_Ap_GetMode(*pWlan), 7);
    ZEL_WLANAPI_ScanResult oResult;
    ASSERT_EQ(ZEL_WLANAPI_Info_ScanAps(*pWlan, oResult), 0);
    ASSERT_EQ(oResult.m_iCount, 1U);
    const auto& oNetwork = oResult.m_aAps[0];
    EXPECT_STREQ(oNetwork.m_aSsid.data(), "neighbour");
    EXPECT_STREQ(oNetwork.m_aMac.data(), "02:00:00:00:00:aa");
    EXPECT_EQ(oNetwork.m_iChannel, 36);
    EXPECT_EQ(oNetwork.m_iChannel2, -1);
    EXPECT_EQ(oNetwork.m_iSignal, 60);
    EXPECT_EQ(oNetwork.m_iMode, 240U);
}

TEST_F(SimDevice, IsNothingWithoutAUsableFile)
{
    EXPECT_EQ(described(), c_sNothing);
    for (const std::string& sJson :
         {std::string(), std::string("[]"), std::string(R"({"dsl":{"state":"showtime"})"),
          std::string("\0{}", 3), std::string(100000, '['),
          R"({"dsl":{"state":"showtime"}})" + std::string(128U << 10U, ' '),
          std::string(R"({"mounts":[],"dsl":"showtime","ppp":{"ppp0":2},"wlan":{"radios":"2"}})"),
          std::string(R"({"mounts":{"rootfs":null,"servicefs":"paper"},"dsl":{"state":[4],"upstream-rate":-1,
                          "transmission-system":2},"ppp":{"ppp0":{"state":{}}},"wlan":{"radios":1.5}})")}) {
        become(sJson);
        const bool bPadded = sJson.size() > 128U << 10U; // the end of what is read does not matter to JSON
        EXPECT_EQ(described(), bPadded ? "none none none; Disconnected; showtime 0 0 ; 000" : c_sNothing)
            << sJson.substr(0, 200);
    }
    become(R"({"mounts":{"rootfs":9},"ppp":{"ppp0":{"state":-1}},
               "dsl":{"state":7,"upstream-rate":4294967295,"downstream-rate":99999999999}})");
    EXPECT_EQ(described(), "unknown none none; Unknown; unknown 4294967295 4294967295 ; 000");
}

TEST_F(SimDevice, NetworksMayBeManyAndNamedAnyhow)
{
    std::string sNetworks;
    for (int i = 0; i < 70; ++i) {
        sNetworks +=
            R"({"ssid":"\u0001)" + std::string(100, '\xff') + R"(","mac":")" + std::string(100, 'm') + "\"},";
    }
    become(R"({"wlan":{"availability":2,"access-points":[
               {"networks":[)" +
           sNetworks + R"(7]},{"ssid":"no list, no scan"}]}})");
    const auto pWlan = wlan();
    ZEL_WLANAPI_ScanResult oResult;
    ASSERT_EQ(ZEL_WLANAPI_SetActiveConfig(*pWlan, 1), 0);
    EXPECT_EQ(ZEL_WLANAPI_Ap_GetSsid(*pWlan), nullptr);
    ASSERT_EQ(ZEL_WLANAPI_Info_ScanAps(*pWlan, oResult), 0);
    EXPECT_EQ(oResult.m_iCount, 71U);
    EXPECT_EQ(std::string(oResult.m_aAps[63].m_aSsid.data()), "\x01" + std::string(31, '\xff'));
    EXPECT_EQ(std::string(oResult.m_aAps[63].m_aMac.data()), std::string(26, 'm'));
    ASSERT_EQ(ZEL_WLANAPI_SetActiveConfig(*pWlan, 2), 0);
    EXPECT_NE(ZEL_WLANAPI_Info_ScanAps(*pWlan, oResult), 0);
}
