#include "status/wlanlist.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <string_view>

namespace {

ZEL_WLANAPI_ScanAp record(std::string_view a_sSsid, std::string_view a_sMac)
{
    ZEL_WLANAPI_ScanAp oAp{};
    std::ranges::copy(a_sSsid, oAp.m_aSsid.begin());
    std::ranges::copy(a_sMac, oAp.m_aMac.begin());
    return oAp;
}

/// The list while the radio sees networks, whose MAC address is their first letter.
class WlanList : public testing::Test
{
protected:
    /// The networks with their numbers after a pass.
    std::string pass(std::initializer_list<std::string_view> a_lSsids, std::time_t a_iTime)
    {
        ZEL_WLANAPI_ScanResult oResult{};
        for (const auto& sSsid : a_lSsids) {
            oResult.m_aAps[oResult.m_iCount++] = record(sSsid, sSsid.substr(0, 1));
        }
        for (const auto& oEntry : zel::toEntries(oResult)) {
            zel::addAccessPoint(m_lList, oEntry, a_iTime);
        }
        zel::markNotFound(m_lList, a_iTime);
        zel::removeOutdated(m_lList, a_iTime);
        std::string sList;
        for (const auto& oEntry : m_lList) {
            sList += std::to_string(oEntry.m_iId) + " " + oEntry.m_sSsid + " ";
        }
        return sList;
    }

    zel::WlanList m_lList;
};

} // namespace

TEST_F(WlanList, ANetworkLeavesAfterElevenPassesWithoutIt)
{
    pass({"home", "bar", "cafe"}, 1000);
    for (std::time_t iTime = 1001; iTime <= 1010; ++iTime) {
        EXPECT_EQ(pass({"cafe", "bar"}, iTime), "1 home 2 bar 3 cafe ");
    }
    EXPECT_EQ(pass({"cafe", "bar"}, 1011), "1 bar 2 cafe ");

    // Being seen forgets the misses.
    for (int i = 1; i <= 10; ++i) {
        pass({}, 1011 + i);
    }
    pass({"bar"}, 1022);
    EXPECT_EQ(pass({}, 1023), "1 bar ");
}

TEST_F(WlanList, ARenamedNetworkMovesToTheEnd)
{
    pass({"home", "bar"}, 1000);
    EXPECT_EQ(pass({"hotel"}, 1001), "1 bar 2 hotel ");
}

TEST_F(WlanList, ManyPassesInOneSecondCannotFillTheMemory)
{
    for (std::size_t i = 0; i <= zel::c_iMostNetworks; ++i) {
        zel::addAccessPoint(m_lList, {0, "", std::to_string(i), 1, 0, 0, "", 0}, 1000);
    }
    EXPECT_EQ(m_lList.size(), zel::c_iMostNetworks);
}

TEST(WlanRecords, WhatDoesNotFitIsCut)
{
    ZEL_WLANAPI_ScanResult oResult{};
    EXPECT_TRUE(zel::toEntries(oResult).empty());
    oResult.m_iCount = 0xffffffff;
    oResult.m_aAps[0] = record(std::string(33, '\xfe'), std::string(27, 'm'));
    oResult.m_aAps[0].m_iChannel2 = -1;
    const auto lEntries = zel::toEntries(oResult);
    ASSERT_EQ(lEntries.size(), 64U);
    EXPECT_EQ(lEntries[0].m_sSsid, std::string(32, '\xfe'));
    EXPECT_EQ(lEntries[0].m_sMacAddress, std::string(26, 'm'));
    EXPECT_EQ(lEntries[0].m_iChannel2, 0);
}

TEST(WlanRecords, OnlyUsualModesHaveAText)
{
    const auto modeOf = [](std::uint32_t a_iMode) {
        return std::string(zel::ConvertApiEnumToWifiModeString(a_iMode));
    };
    const std::map<std::uint32_t, std::string> mTexts{
        {1, "802.11b"},     {2, "802.11g"},      {3, "802.11bg"},      {4, "802.11n"},  {6, "802.11gn"},
        {7, "802.11bgn"},   {12, "802.11nax"},   {15, "802.11bgnax"},  {32, "802.11n"}, {48, "802.11na"},
        {72, "802.11acax"}, {112, "802.11anac"}, {240, "802.11anacax"}};
    for (std::uint32_t iMode = 0; iMode < 512; ++iMode) {
        const auto it = mTexts.find(iMode);
        EXPECT_EQ(modeOf(iMode), it == mTexts.end() ? "unknown" : it->second) << iMode;
    }
    EXPECT_EQ(modeOf(0xffffffff), "unknown");
}
