#include "systema/persistscript.h"

#include "systema/configdispatcher.h"

#include <gmock/gmock.h>

#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using zel::cfg::PersistScript;

namespace {

class PersistScriptTest : public testing::Test, public PersistScript::IHook
{
protected:
    void TearDown() override { systema::ConfigDispatcher::instance().setPersistScript(nullptr); }

    void persist(PersistScript::EPersistMode a_eMode) override
    {
        m_lSaves.push_back(a_eMode);
        if (std::exchange(m_bChangesWhileSaving, false)) {
            m_oScript.markChanged();
        }
    }

    /// The modes of the saves that one call makes.
    std::vector<int> process(bool a_bFinal = false)
    {
        m_oScript.process(a_bFinal);
        return std::exchange(m_lSaves, {});
    }
    std::vector<int> processAfter(int a_iSeconds)
    {
        m_oNow += std::chrono::seconds(a_iSeconds);
        return process();
    }

    std::chrono::seconds m_oNow{0};
    bool m_bChangesWhileSaving = false;
    PersistScript m_oScript{*this, 10, PersistScript::c_ePersistDefault,
                            [this] { return PersistScript::Clock::time_point(m_oNow); }};

private:
    std::vector<int> m_lSaves;
};

} // namespace

TEST_F(PersistScriptTest, WaitsFromTheFirstUnsavedChange)
{
    EXPECT_THAT(processAfter(100), IsEmpty());
    m_oScript.markChanged();
    EXPECT_THAT(processAfter(9), IsEmpty());
    m_oScript.markChanged(); // does not put the save off
    EXPECT_THAT(processAfter(1), ElementsAre(1));
    EXPECT_THAT(processAfter(100), IsEmpty());
    m_oScript.markChanged();
    EXPECT_THAT(processAfter(9), IsEmpty());
    EXPECT_THAT(processAfter(1), ElementsAre(1));
}

TEST_F(PersistScriptTest, AChangeMadeWhileSavingIsSavedNextTime)
{
    m_bChangesWhileSaving = true;
    m_oScript.markChanged();
    EXPECT_THAT(processAfter(10), ElementsAre(1));
    EXPECT_THAT(processAfter(10), ElementsAre(1));
    EXPECT_THAT(processAfter(10), IsEmpty());
}

TEST_F(PersistScriptTest, AWaitOfNothingMeansNoDelayedSave)
{
    m_oScript.setWaitTime(0);
    m_oScript.markChanged();
    EXPECT_THAT(processAfter(100000), IsEmpty());
    m_oScript.setWaitTime(100001); // the change is not forgotten
    EXPECT_THAT(process(), IsEmpty());
    EXPECT_THAT(processAfter(1), ElementsAre(1));
}

TEST_F(PersistScriptTest, WhatTheNosqldumpModeLeftOutIsSavedInTheNextMode)
{
    m_oScript.setPersistMode(PersistScript::c_ePersistNoSqlDump);
    m_oScript.markChanged();
    EXPECT_THAT(processAfter(10), ElementsAre(4));
    EXPECT_THAT(process(true), IsEmpty());
    m_oScript.setPersistMode(PersistScript::c_ePersistDefault);
    EXPECT_THAT(processAfter(10), ElementsAre(1));
    EXPECT_THAT(process(true), IsEmpty());
}
