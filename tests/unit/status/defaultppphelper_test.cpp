#include "status/defaultppphelper.h"

#include "device/deviceinfoppp.h"
#include "systema/configdispatcher.h"
#include "tests/row.h"
#include "tests/unit/systema/recordingplugin.h"

#include <gtest/gtest.h>

#include <cstdio>

// A board's own functions, which take the place of those that are built in: the state of a link is its unit.
int ZEL_DeviceInfoPPPAPI_getPPPStatus(int a_iUnit)
{
    return a_iUnit;
}

const char* ZEL_DeviceInfoPPPAPI_getPPPStatusString(int a_iStatus)
{
    return a_iStatus == 1 ? "one" : "other";
}

int ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName(const char* a_pName, char* a_pBuffer, std::size_t a_iSize)
{
    std::snprintf(a_pBuffer, a_iSize, "message of %s with room for %zu characters, not more", a_pName,
                  a_iSize);
    return 0;
}

namespace {

class DefaultPppHelper : public testing::Test
{
protected:
    DefaultPppHelper()
    {
        for (const char* pName : {"eth0", "ppp1", "xppp", "ppp", "pp", "PPP1", "ppp12", "ppp1"}) {
            m_oWatch.m_lRows.push_back(tests::row({{"Name", pName}}));
        }
        m_oDispatcher.attachTables(m_oWatch);
    }

    RecordingPlugin::Calls m_lCalls;
    RecordingPlugin m_oWatch{"watch", {"StatusNetifWatch"}, m_lCalls};
    systema::ConfigDispatcher m_oDispatcher;
    zel::DefaultPppHelper m_oHelper{m_oDispatcher};
};

using Names = std::vector<std::string>;

} // namespace

TEST_F(DefaultPppHelper, InterfacesAreThoseOfTheTableThatCanBeRead)
{
    EXPECT_EQ(m_oHelper.getPppInterfaces(), (Names{"ppp1", "ppp", "ppp12", "ppp1"}));
    m_oWatch.m_mResults["selectRow"] = systema::EResultCode::Failure;
    EXPECT_EQ(m_oHelper.getPppInterfaces(), Names());
    m_oWatch.m_mResults = {{"getSize", systema::EResultCode::Failure}};
    EXPECT_EQ(m_oHelper.getPppInterfaces(), Names());
}

TEST_F(DefaultPppHelper, OneCharacterIsTheUnit)
{
    for (const char* pName : {"ppp1", "ppp12", "ppp1x"}) {
        EXPECT_EQ(m_oHelper.getPppStatus(pName), 1) << pName;
        EXPECT_EQ(m_oHelper.getPppStatusString(), "one");
    }
    for (const char* pName : {"ppp0", "pppx", "ppp-1", "ppp", "p", ""}) {
        EXPECT_EQ(m_oHelper.getPppStatus(pName), 0) << pName;
        EXPECT_EQ(m_oHelper.getPppStatusString(), "other");
    }
}

TEST_F(DefaultPppHelper, MessageHasSixtyThreeCharactersAtMost)
{
    EXPECT_EQ(m_oHelper.getPostAuthMessage("ppp12"),
              "message of ppp12 with room for 64 characters, not more");
    EXPECT_EQ(m_oHelper.getPostAuthMessage(std::string(100, 'p')), "message of " + std::string(52, 'p'));
}
