#include "zel/loglimit.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace zel {
namespace {

class LogLimitTest : public testing::Test
{
protected:
    bool admits(uid_t a_iUser, int a_iConnection, unsigned a_iPlace, std::string_view a_sText = "text")
    {
        return m_oLimit.admits({a_iUser, a_iConnection},
                               {3, "error", {"place", a_iPlace}, "Module ", a_sText}, m_oNow);
    }
    std::vector<std::string> ended()
    {
        std::vector<std::string> lTexts;
        m_oLimit.takeEnded(m_oNow, [&](const LogSummary& a_oSummary) {
            lTexts.push_back(std::string(a_oSummary.m_oLine.m_sHead) + std::to_string(a_oSummary.m_iMore) +
                             " " + std::string(a_oSummary.m_oLine.m_sText) +
                             (a_oSummary.m_bOthers ? "..." : ""));
        });
        return lTexts;
    }

    LogLimit m_oLimit;
    LogLimit::Clock::time_point m_oNow{};
};

using Texts = std::vector<std::string>;

TEST_F(LogLimitTest, OfOneKindClientAndSecondOneLineIsLoggedAndTheOthersAreCounted)
{
    EXPECT_TRUE(admits(1000, 1, 10));
    EXPECT_FALSE(admits(1000, 1, 10, "second"));
    EXPECT_TRUE(admits(1000, 1, 11)); // another kind
    EXPECT_TRUE(admits(1000, 2, 10)); // other clients
    EXPECT_TRUE(admits(1001, 1, 10));
    EXPECT_FALSE(admits(1000, 1, 10, "third"));
    EXPECT_FALSE(admits(1000, 1, 10, "second"));
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(i < 3, m_oLimit.admits({0, LogClient::c_iFifo, 3},
                                         {3, "error", {"place", 10}, "Fifo ", "text"}, m_oNow));
    }
    m_oNow += std::chrono::milliseconds(999);
    EXPECT_FALSE(admits(1000, 1, 10, std::string(1000, 'x')));
    EXPECT_EQ(ended(), Texts());
    m_oNow += std::chrono::milliseconds(1);
    EXPECT_THAT(ended(), testing::UnorderedElementsAre("Module 4 second; third...", "Fifo 2 text"));
    EXPECT_EQ(ended(), Texts());
    EXPECT_TRUE(admits(1000, 1, 10));
}

TEST_F(LogLimitTest, AUserWhoFillsTheTableKeepsNobodyElsesLinesOut)
{
    std::size_t iAdmitted = 0;
    for (unsigned iPlace = 0; iPlace < 1000; ++iPlace) {
        iAdmitted += admits(1000, static_cast<int>(iPlace), iPlace, std::to_string(iPlace)) ? 1 : 0;
    }
    EXPECT_EQ(iAdmitted, LogLimit::c_iEntriesOfUser);
    EXPECT_TRUE(admits(0, 1, 10));
    EXPECT_TRUE(admits(1001, 1, 10));
    for (uid_t iUser = 2000; iUser < 2100; ++iUser) {
        admits(iUser, 1, 10, "full"); // now the table itself is
    }
    m_oNow += LogLimit::c_oWindow;
    const std::string sCount = std::to_string(1000 - LogLimit::c_iEntriesOfUser + 100 - 46);
    EXPECT_THAT(ended(), testing::ElementsAre(testing::AllOf(testing::StartsWith(sCount + " 16; 17; 18; "),
                                                             testing::EndsWith("..."),
                                                             testing::SizeIs(testing::Lt(400U)))));
    EXPECT_TRUE(admits(1000, 1, 10));
}

} // namespace
} // namespace zel
