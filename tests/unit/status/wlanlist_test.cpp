#include "status/wlanlist.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
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
    void see(std::initializer_list<std::string_view> a_lSsids, std::time_t a_iTime)
    {
        ZEL_WLANAPI_ScanResult oResult{};
        for (const auto& sSsid : a_lSsids) {
            oResult.m_aAps[oResult.m_iCount++] = record(sSsid, sSsid.substr(0, 1));
        }
        for (const auto& oEntry : zel::toEntries(oResult)) {
            zel::addAccessPoint(m_lList, oEntry, a_iTime);
        }
    }
    /// The networks after the pass with their numbers.
    std::string endPass(std::time_t a_iBegin)
    {
        zel::markNotFound(m_lList, a_iBegin);
        zel::removeOutdated(m_lList, a_iBegin);
        std::string sList;
        for (const auto& oEntry : m_lList) {
            sList += std::to_string(oEntry.m_iId) + " " + oEntry.m_sSsid + " ";
        }
        return sList;
    }
    std::string pass(std::initializer_list<std::string_view> a_lSsids, std::time_t a_iTime)
    {
        see(a_lSsids, a_iTime);
        return endPass(a_iTime);
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

TEST_F(WlanList, ANetworkLeavesWhenUnseenForMoreThan180Seconds)
{
    pass({"home", "bar"}, 1000);
    EXPECT_EQ(pass({"bar"}, 1180), "1 home 2 bar ");
    EXPECT_EQ(pass({"bar"}, 1181), "1 bar ");
}

TEST_F(WlanList, WhatWasSeenInALaterSecondOfThePassCountsAsMissed)
{
    see({"home"}, 1000);
    see({"bar"}, 1001);
    endPass(1000);
    for (int i = 1; i <= 9; ++i) {
        EXPECT_EQ(pass({}, 1001 + i), "1 home 2 bar ");
    }
    EXPECT_EQ(pass({}, 1011), "1 home ") << "one pass before those seen in time";
    EXPECT_EQ(pass({}, 1012), "");
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
    EXPECT_EQ(modeOf(4), "802.11n");
    EXPECT_EQ(modeOf(32), "802.11n"); // for both bands
    EXPECT_EQ(modeOf(240), "802.11anacax");
    for (const std::uint32_t iMode : {0U, 5U, 241U, 0xffffffffU}) {
        EXPECT_EQ(modeOf(iMode), "unknown");
    }
}
