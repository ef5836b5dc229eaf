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
    std::optional<bool> getResult(bool a_bWait) override
    {
        if (a_bWait) {
            m_oResult = m_oResult.value_or(m_bEndsWell);
        }
        return m_oResult;
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
    std::optional<bool> m_oResult = true; // of the saves
    bool m_bEndsWell = true;              // those that run, when they are waited for
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
    EXPECT_THAT(processAfter(1000), IsEmpty());
    m_oScript.setPersistMode(PersistScript::c_ePersistRedundant);
    EXPECT_THAT(process(), ElementsAre(2));
    EXPECT_THAT(process(true), IsEmpty());
}

TEST_F(PersistScriptTest, ATriggerSavesInTheModeOfItsTime)
{
    m_oResult.reset();
    m_oScript.trigger();
    EXPECT_THAT(process(), ElementsAre(1));
    m_oScript.trigger();
    m_oScript.setPersistMode(PersistScript::c_ePersistNoSqlDump); // "save, and then no more"
    m_oScript.trigger();
    EXPECT_THAT(process(), IsEmpty());
    m_oResult = true;
    EXPECT_THAT(process(), ElementsAre(1));
    EXPECT_THAT(processAfter(1000), IsEmpty());
}

TEST_F(PersistScriptTest, WhatFallsDueWhileASaveRunsIsSavedOnceWhenItHasEnded)
{
    m_oResult.reset();
    m_oScript.trigger();
    EXPECT_THAT(process(), ElementsAre(1));
    for (int i = 0; i < 257; ++i) {
        m_oScript.trigger();
        m_oScript.markChanged();
        EXPECT_FALSE(m_oScript.isDue()); // or every request would end the pass
        EXPECT_THAT(processAfter(1), IsEmpty());
    }
    m_oResult = true;
    EXPECT_TRUE(m_oScript.isDue());
    EXPECT_THAT(process(), ElementsAre(1));
    EXPECT_THAT(processAfter(1000), IsEmpty());
}

TEST_F(PersistScriptTest, AFailedSaveIsTriedAgainAfterAMinuteAndThenLessAndLessOften)
{
    m_oResult = false;
    m_oScript.markChanged();
    EXPECT_THAT(processAfter(10), ElementsAre(1));
    for (const int iSeconds : {60, 120, 240, 480, 960, 1920, 3600, 3600}) {
        EXPECT_THAT(processAfter(iSeconds - 1), IsEmpty());
        EXPECT_THAT(processAfter(1), ElementsAre(1));
    }
    m_oScript.trigger(); // tries at once, and does not reset the time
    EXPECT_THAT(process(), ElementsAre(1));
    EXPECT_THAT(processAfter(3599), IsEmpty());
    m_oScript.markChanged(); // does
    EXPECT_THAT(processAfter(1), ElementsAre(1));
    EXPECT_THAT(processAfter(59), IsEmpty());
    m_oScript.setPersistMode(PersistScript::c_ePersistNoSqlDump);
    EXPECT_THAT(processAfter(1000), IsEmpty());
    m_oScript.setPersistMode(PersistScript::c_ePersistDefault);
    m_oResult = true;
    EXPECT_THAT(process(), ElementsAre(1));
    EXPECT_THAT(processAfter(10000), IsEmpty());
    EXPECT_THAT(process(true), IsEmpty());
}

TEST_F(PersistScriptTest, TheStopSavesWhatTheRunningAndTheFailedSaveHaveNot)
{
    m_oResult = false;
    m_oScript.trigger();
    process();
    EXPECT_THAT(process(true), ElementsAre(1)); // the last one had failed
    m_oResult = true;
    EXPECT_THAT(process(true), ElementsAre(1));
    EXPECT_THAT(process(true), IsEmpty());

    m_oResult.reset();
    m_oScript.trigger();
    process();
    EXPECT_THAT(process(true), IsEmpty()); // one that runs is only waited for
    m_oResult.reset();
    m_oScript.trigger();
    process();
    m_oScript.markChanged();
    EXPECT_THAT(process(true), ElementsAre(1)); // but for what has changed since it began
    m_oResult.reset();
    m_bEndsWell = false;
    m_oScript.trigger();
    process();
    EXPECT_THAT(process(true), ElementsAre(1)); // or when it fails
}
