#include "status/wlanlist.h"

#include <gtest/gtest.h>

#include <map>

TEST(WlanList, BeingSeenForgetsTheMisses)
{
    zel::WlanList lList;
    for (std::time_t iTime = 1000; iTime < 1020; ++iTime) {
        if (iTime % 11 == 0) { // after ten passes without it
            zel::addAccessPoint(lList, {0, "bar", "b", 1, 0, 0, "", 0}, iTime);
        }
        zel::markNotFound(lList, iTime);
        zel::removeOutdated(lList, iTime);
        EXPECT_EQ(lList.size(), iTime < 1001 ? 0U : 1U) << iTime;
    }
}

TEST(WlanList, ManyPassesInOneSecondCannotFillTheMemory)
{
    zel::WlanList lList;
    for (std::size_t i = 0; i <= zel::c_iMostNetworks; ++i) {
        zel::addAccessPoint(lList, {0, "", std::to_string(i), 1, 0, 0, "", 0}, 1000);
    }
    EXPECT_EQ(lList.size(), zel::c_iMostNetworks);
}

TEST(WlanList, OnlyUsualModesHaveAText)
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
