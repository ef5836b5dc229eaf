#include "device/linux/wlanmessages.h"

#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <linux/nl80211.h>

using zel::device::parseAccessPoint;
using zel::device::parseNetwork;
using zel::device::parseRadio;
using zel::device::WlanInterface;

namespace {

template<class Number>
std::string bytes(Number a_iNumber)
{
    return {reinterpret_cast<const char*>(&a_iNumber), sizeof(a_iNumber)};
}

std::string attribute(int a_iType, const std::string& a_sContent)
{
    std::string sAttribute = bytes(static_cast<std::uint16_t>(NLA_HDRLEN + a_sContent.size())) +
                             bytes(static_cast<std::uint16_t>(a_iType)) + a_sContent;
    sAttribute.resize(NLA_ALIGN(sAttribute.size()));
    return sAttribute;
}

std::string attribute(int a_iType, unsigned a_iNumber)
{
    return attribute(a_iType, bytes(a_iNumber));
}

std::string element(int a_iNumber, const std::string& a_sContent)
{
    return std::string(1, static_cast<char>(a_iNumber)) + static_cast<char>(a_sContent.size()) + a_sContent;
}

const std::string c_sMac("\x02\0\0\0\0\xaa", 6);

/// A network with these elements in its beacon, at -60 dBm.
std::string network(unsigned a_iFrequency, const std::string& a_sElements)
{
    return attribute(NL80211_ATTR_BSS, attribute(NL80211_BSS_BSSID, c_sMac) +
                                           attribute(NL80211_BSS_FREQUENCY, a_iFrequency) +
                                           attribute(NL80211_BSS_SIGNAL_MBM, static_cast<unsigned>(-6000)) +
                                           attribute(NL80211_BSS_BEACON_IES, a_sElements));
}

zel::device::Bytes span(const std::string& a_sBytes)
{
    return {reinterpret_cast<const unsigned char*>(a_sBytes.data()), a_sBytes.size()};
}

/// Channel, secondary channel, signal and mode of a network, and its name.
std::string described(const std::string& a_sMessage)
{
    const auto oNetwork = parseNetwork(span(a_sMessage));
    return !oNetwork ? "none"
                     : std::to_string(oNetwork->m_iChannel) + " " + std::to_string(oNetwork->m_iChannel2) +
                           " " + std::to_string(oNetwork->m_iSignal) + " " +
                           std::to_string(oNetwork->m_iMode) + " " + oNetwork->m_aSsid.data();
}

const std::string c_sRates = element(1, "\x82\x84\x0b\x16\x0c\x18");
const std::string c_sHt = element(45, std::string(26, '\0'));
const std::string c_sVht = element(191, std::string(12, '\0'));
const std::string c_sHe = element(255, "\x23" + std::string(21, '\0'));

/// 802.11n operation on a channel and the one above or, with 3, below.
std::string htOperation(char a_cOffset)
{
    return element(61, std::string(1, '\x06') + a_cOffset + std::string(20, '\0'));
}

} // namespace

TEST(WlanMessages, ANetworkIsWhatItsBeaconSays)
{
    EXPECT_EQ(described(network(2437, element(0, "old") + element(1, "\x82\x84\x8b\x96"))), "6 -1 80 1 old");
    EXPECT_EQ(described(network(2484, element(0, "g") + element(1, "\x8c\x98"))), "14 -1 80 2 g");
    EXPECT_EQ(described(network(2437, element(0, "n") + c_sRates + c_sHt + htOperation(5))), "6 10 80 7 n");
    EXPECT_EQ(described(network(2437, c_sRates + c_sHt + c_sVht + c_sHe + htOperation(3))), "6 2 80 15 ");
    EXPECT_EQ(described(network(2412, c_sRates + c_sHt + htOperation(3))), "1 -1 80 7 ")
        << "no channel below";
    EXPECT_EQ(described(network(5180, c_sRates + c_sHt + c_sVht + c_sHe + htOperation(1))), "36 40 80 240 ");
    EXPECT_EQ(described(network(5955, c_sRates + c_sHe)), "1 -1 80 128 ");
    EXPECT_EQ(described(network(58320, c_sRates + c_sHt)), "0 -1 80 0 ");
}

TEST(WlanMessages, ElementsFromTheAirMayBeAnything)
{
    const std::string sSsid = "\"quotes\"\x01\xff\xc3'32 bytes, not text!\n";
    ASSERT_EQ(sSsid.size(), 32U);
    EXPECT_EQ(described(network(2437, element(0, sSsid) + c_sRates)), "6 -1 80 3 " + sSsid);
    EXPECT_EQ(described(network(2437, element(0, std::string("cut\0off", 7)))), "6 -1 80 0 cut");
    EXPECT_EQ(described(network(2437, element(0, std::string(33, 'x')) + c_sRates)), "6 -1 80 3 ");
    EXPECT_EQ(described(network(2437, element(61, "\x06") + element(0, "kept") + "\x01\x09\x82")),
              "6 -1 80 0 kept");
}

TEST(WlanMessages, ANetworkWithoutAddressIsNone)
{
    EXPECT_EQ(described(""), "none");
    EXPECT_EQ(described(attribute(NL80211_ATTR_BSS, attribute(NL80211_BSS_BSSID, "12345"))), "none");
    const std::string sBare = attribute(NL80211_BSS_BSSID, c_sMac);
    EXPECT_EQ(described(attribute(NL80211_ATTR_BSS, sBare)), "0 -1 0 0 ");
    EXPECT_STREQ(parseNetwork(span(attribute(NL80211_ATTR_BSS, sBare)))->m_aMac.data(), "02:00:00:00:00:aa");
    for (const auto& [iHundredthsOfDbm, sPercentage] :
         {std::pair(-10000, "0"), std::pair(-10001, "0"), std::pair(-7501, "49"), std::pair(-5000, "100"),
          std::pair(0, "100")}) {
        const std::string sSignal =
            attribute(NL80211_BSS_SIGNAL_MBM, static_cast<unsigned>(iHundredthsOfDbm));
        EXPECT_EQ(described(attribute(NL80211_ATTR_BSS, sBare + sSignal)),
                  "0 -1 " + std::string(sPercentage) + " 0 ");
    }
    EXPECT_EQ(described(attribute(NL80211_ATTR_BSS, sBare + attribute(NL80211_BSS_SIGNAL_UNSPEC, "\x37"))),
              "0 -1 55 0 ");
}

TEST(WlanMessages, AnAccessPointIsOfItsRadiosModes)
{
    const auto accessPoint = [](unsigned a_iFrequency, unsigned a_iCentre, unsigned a_iWidth) {
        return parseAccessPoint(
            span(attribute(NL80211_ATTR_IFINDEX, 7) + attribute(NL80211_ATTR_WIPHY, 1) +
                 attribute(NL80211_ATTR_IFTYPE, NL80211_IFTYPE_AP) + attribute(NL80211_ATTR_MAC, c_sMac) +
                 attribute(NL80211_ATTR_SSID, "gateway") + attribute(NL80211_ATTR_WIPHY_FREQ, a_iFrequency) +
                 attribute(NL80211_ATTR_CHANNEL_WIDTH, a_iWidth) +
                 attribute(NL80211_ATTR_CENTER_FREQ1, a_iCentre)));
    };
    EXPECT_EQ(accessPoint(5220, 5210, NL80211_CHAN_WIDTH_80),
              (WlanInterface{1, 7, 5220, 80, {"gateway", "02:00:00:00:00:aa", 44, 48}}));
    const auto second = [&](unsigned a_iFrequency, unsigned a_iCentre, unsigned a_iWidth) {
        return accessPoint(a_iFrequency, a_iCentre, a_iWidth)->m_oAccessPoint.m_iChannel2;
    };
    EXPECT_EQ(second(2437, 2427, NL80211_CHAN_WIDTH_40), 2);
    EXPECT_EQ(second(5200, 5210, NL80211_CHAN_WIDTH_80), 36);
    EXPECT_EQ(second(5320, 5250, NL80211_CHAN_WIDTH_160), 60);
    EXPECT_EQ(second(2437, 2437, NL80211_CHAN_WIDTH_20), -1);
    EXPECT_EQ(second(2437, 0, NL80211_CHAN_WIDTH_40), -1);
    EXPECT_FALSE(parseAccessPoint(
        span(attribute(NL80211_ATTR_IFINDEX, 7) + attribute(NL80211_ATTR_IFTYPE, NL80211_IFTYPE_STATION))));

    const auto he = [](int a_iType) {
        return attribute(NL80211_BAND_ATTR_IFTYPE_DATA,
                         attribute(1, attribute(NL80211_BAND_IFTYPE_ATTR_IFTYPES, attribute(a_iType, "")) +
                                          attribute(NL80211_BAND_IFTYPE_ATTR_HE_CAP_MAC, "123456")));
    };
    const auto oRadio = parseRadio(
        span(attribute(NL80211_ATTR_WIPHY, 1) +
             attribute(NL80211_ATTR_WIPHY_BANDS,
                       attribute(NL80211_BAND_2GHZ,
                                 attribute(NL80211_BAND_ATTR_HT_CAPA, "12") + he(NL80211_IFTYPE_STATION)) +
                           attribute(NL80211_BAND_5GHZ,
                                     attribute(NL80211_BAND_ATTR_VHT_CAPA, "1234") + he(NL80211_IFTYPE_AP)) +
                           attribute(NUM_NL80211_BANDS, he(NL80211_IFTYPE_AP)))));
    ASSERT_TRUE(oRadio);
    EXPECT_EQ(modeOf(*oRadio, 2437, 20), 7);
    EXPECT_EQ(modeOf(*oRadio, 2437, 0), 3);
    EXPECT_EQ(modeOf(*oRadio, 5220, 80), 16 + 64 + 128);
    EXPECT_EQ(modeOf(*oRadio, 5955, 80), 0);
    EXPECT_EQ(modeOf(*oRadio, 0, 0), 0);
}

TEST(WlanMessages, OwnAccessPointsAndTheBeaconOfANamedNetworkAreLeftOut)
{
    const auto oNamed = *parseNetwork(span(network(2437, element(0, "named"))));
    const auto oHidden = *parseNetwork(span(network(2437, element(0, ""))));
    auto oOther = oHidden;
    oOther.m_aMac[0] = '1';
    auto oOwn = oNamed;
    oOwn.m_aMac[0] = '2';
    const std::string sOwn = oOwn.m_aMac.data();
    zel::device::Networks lNetworks{oHidden, oNamed, oOther, oOwn};
    zel::device::removeRepeated(lNetworks, {sOwn});
    ASSERT_EQ(lNetworks.size(), 2U);
    EXPECT_STREQ(lNetworks[0].m_aSsid.data(), "named");
    EXPECT_EQ(lNetworks[1].m_aMac, oOther.m_aMac) << "hidden, and never named";
}

TEST(WlanMessages, EachRadioHasOneAccessPointBeforeAnyHasTwo)
{
    std::vector<WlanInterface> lInterfaces{{1, 3}, {0, 9}, {0, 5}, {0, 7}, {1, 4}};
    sortAccessPoints(lInterfaces);
    EXPECT_EQ(lInterfaces, (std::vector<WlanInterface>{{0, 5}, {1, 3}, {0, 7}, {1, 4}, {0, 9}}));
}
