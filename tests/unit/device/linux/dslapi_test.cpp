#include "device/dslapi.h"

#include "tests/unit/device/systemroot.h"

#include <gtest/gtest.h>

namespace {

const std::string c_sFile = "/var/run/dsl-status";
const std::string c_sShowtime = "state=showtime\nupstream-rate=10087\ndownstream-rate=51392\n"
                                "transmission-system=0000000000000002\n";

class DslApi : public testing::Test
{
protected:
    std::string lineOf(const std::string& a_sText)
    {
        m_oRoot.write(c_sFile, a_sText);
        ZEL_DSLAPI_resetFetchState(*m_pContext);
        return line();
    }
    /// State, rates up and down, mode.
    std::string line()
    {
        const auto rate = [&](EDslDirection a_eDirection) {
            return std::to_string(ZEL_DSLAPI_getG997ActualDataRate(*m_pContext, a_eDirection)) + " ";
        };
        return std::string(ZEL_DSLAPI_getLineStateString(ZEL_DSLAPI_getLineState(*m_pContext))) + " " +
               rate(EDslDirection::Upstream) + rate(EDslDirection::Downstream) +
               ZEL_DSLAPI_getXDSLModeString(
                   ZEL_DSLAPI_getXDSLMode(ZEL_DSLAPI_getG997xTUTransmissionSystem(*m_pContext)));
    }

    SystemRoot m_oRoot;
    const ZEL_DSLAPI_Handle m_pContext = ZEL_DSLAPI_construct();
};

} // namespace

TEST_F(DslApi, WhatIsReadBetweenTwoResetsIsOfOneLook)
{
    EXPECT_EQ(line(), "down 0 0 ");
    EXPECT_EQ(lineOf(c_sShowtime), "showtime 10087 51392 VDSL2 Annex B");
    m_oRoot.write(c_sFile, "state=handshake\n");
    EXPECT_EQ(line(), "showtime 10087 51392 VDSL2 Annex B");
    ZEL_DSLAPI_resetFetchState(*m_pContext);
    EXPECT_EQ(line(), "handshake 0 0 ");
}

TEST_F(DslApi, WhatCannotBeReadIsNothing)
{
    EXPECT_EQ(
        lineOf(" state = training \r\nnonsense\n=\n#state=idle\n\xff=\xfe\nupstream-rate=1\nupstream-rate=2"),
        "training 2 0 ");
    EXPECT_EQ(lineOf(std::string(127, '#') + c_sShowtime), "down 10087 51392 VDSL2 Annex B")
        << "the rest of a long line is no line";
    for (const std::string sRate : {"", "-1", "+1", "1 2", "0x1", "4294967296", "1.5"}) {
        EXPECT_EQ(lineOf("upstream-rate=" + sRate), "down 0 0 ") << sRate;
    }
    EXPECT_EQ(lineOf("state=Showtime\nupstream-rate=4294967295\n"), "down 4294967295 0 ");
    for (const std::string sSystem :
         {"", "02", "000000000000000x", "00 00 00 00 00 2", "00000000000000002"}) {
        EXPECT_EQ(lineOf("transmission-system=" + sSystem), "down 0 0 ") << sSystem;
    }
}

TEST(DslModes, TheNewestOfSeveralIsTheMode)
{
    const auto modeOf = [](std::uint64_t a_iSystem) {
        return std::string(ZEL_DSLAPI_getXDSLModeString(ZEL_DSLAPI_getXDSLMode(a_iSystem)));
    };
    const auto bit = [](unsigned a_iNumber) { return 1ULL << (a_iNumber - 1); };
    EXPECT_EQ(modeOf(bit(5) | bit(44) | bit(22)), "ADSL2+ Annex B");
    EXPECT_EQ(modeOf(bit(34) | bit(29)), "ADSL2 Annex I");
    EXPECT_EQ(modeOf(bit(59)), "VDSL2 Annex C");
    EXPECT_EQ(modeOf(bit(13) | bit(60) | bit(64)), "") << "not given to anything";
    EXPECT_STREQ(ZEL_DSLAPI_getXDSLModeString(23), "");
    EXPECT_STREQ(ZEL_DSLAPI_getLineStateString(6), "unknown");
}
