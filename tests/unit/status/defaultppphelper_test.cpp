#include "status/defaultppphelper.h"

#include "systema/configdispatcher.h"
#include "tests/row.h"
#include "tests/unit/device/systemroot.h"
#include "tests/unit/systema/recordingplugin.h"

#include <gtest/gtest.h>

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
        m_oRoot.write("/var/run/ledgerd-sim.json", R"({"ppp":{"ppp1":{"state":"Connected","message":")" +
                                                       std::string(100, 'm') + R"("}}})");
    }

    SystemRoot m_oRoot;
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
        EXPECT_EQ(m_oHelper.getPppStatus(pName), 2) << pName;
        EXPECT_EQ(m_oHelper.getPppStatusString(), "Connected");
    }
    for (const char* pName : {"ppp0", "pppx", "ppp-1", "ppp", "p", ""}) {
        EXPECT_EQ(m_oHelper.getPppStatus(pName), 0) << pName;
        EXPECT_EQ(m_oHelper.getPppStatusString(), "Disconnected");
    }
}

TEST_F(DefaultPppHelper, MessageHasSixtyThreeCharactersAtMost)
{
    EXPECT_EQ(m_oHelper.getPostAuthMessage("ppp1"), std::string(63, 'm'));
    EXPECT_EQ(m_oHelper.getPostAuthMessage("ppp12"), "");
}
