#include "status/postauthmessage.h"

#include <gtest/gtest.h>

namespace {

struct Case
{
    std::string m_sMessage;
    int m_iUpstream;
    int m_iDownstream;
};

const Case c_aCases[] = {
    {"UI-SBR:16000,1024;", 1024, 16000},
    {"SRU=1024#SRD=16000#", 1024, 16000},
    {"SRD=16000#SRU=1024#", 1024, 16000},
    {"hello UI-SBR:7,8;UI-SBR:1,2; SRU=3#SRD=4#", 8, 7},
    {"SRU=1#SRU=2#SRD=3#", 1, 3},
    {"SRU=1#SRD=x# A=1#B=2# SRD=2#", 1, 2}, // any two pairs give the shape
    {"SRU=1# SRD=2#", 0, 0},                // without it the keys do not count
    {"SRU=5#X=7#", 0, 0},
    {"X=5#SRD=7#", 0, 0},
    {"UI-SBR:1,2", 0, 0},
    {"UI-SBR:1,;", 0, 0},
    {"UI-SBR:-1,2;", 0, 0},
    {"", 0, 0},
    {"UI-SBR:2147483648,4294967297;", 1, -2147483647 - 1},
    {"UI-SBR:0001,99999999999999999999;", -1, 1},
    {std::string("UI-SBR:1,\0002;", 12), 0, 0},
    {"\xff\xfe"
     "SRU=1#SRD=2#\x80",
     1, 2},
    {"UI-SBR:" + std::string(100000, '1') + ",2;", 2, -1},
};

} // namespace

TEST(PostAuthMessage, RatesAreReadFromTheTwoKnownForms)
{
    for (const auto& oCase : c_aCases) {
        const auto oRates = zel::parsePostAuthMessage(oCase.m_sMessage);
        EXPECT_EQ(oRates.m_iUpstream, oCase.m_iUpstream) << oCase.m_sMessage.substr(0, 64);
        EXPECT_EQ(oRates.m_iDownstream, oCase.m_iDownstream) << oCase.m_sMessage.substr(0, 64);
    }
}
