// Changes: who is told of which tables, and when. What marks the persistence trigger.
#include "systema/persistscript.h"
#include "tests/unit/systema/dispatcherfixture.h"

#include <gmock/gmock.h>

#include <memory>
#include <utility>

using systema::EResultCode;
using systema::NameList;
using testing::ElementsAre;
using testing::HasSubstr;
using zel::cfg::PersistScript;

namespace {

using ChangeTest = DispatcherTest;

} // namespace

TEST_F(ChangeTest, WhatIsWrittenWhileBeingToldIsToldNextTime)
{
    m_oDispatcher.subscribe(m_oFirst, {"Stored"});
    m_oDispatcher.subscribe(m_oSecond, {"Stored"});
    m_oFirst.m_oWhenTold = [this] { write(&m_oFirst, "Stored"); };
    write(m_pMe, "Stored");
    EXPECT_THAT(told(m_oFirst), ElementsAre(NameList({"Stored"})));
    EXPECT_EQ(m_oSecond.take().size(), 1U);
    EXPECT_TRUE(m_oDispatcher.hasNotifications());
    m_oFirst.m_oWhenTold = {};
    EXPECT_THAT(told(m_oFirst), ElementsAre(NameList({"Stored"})));
    EXPECT_FALSE(m_oDispatcher.hasNotifications());
}

TEST_F(ChangeTest, ASubscriberThatGoesWhileOthersAreToldIsNotTold)
{
    for (const bool bByName : {true, false}) {
        auto pGone = std::make_unique<Subscriber>();
        m_oDispatcher.subscribe(m_oFirst, {"Stored"});
        m_oDispatcher.subscribe(*pGone, {"Stored", "Virtual"});
        m_oDispatcher.subscribe(m_oSecond, {"Stored"});
        m_oFirst.m_oWhenTold = [&] {
            if (bByName) {
                m_oDispatcher.unsubscribe(*pGone, {"Stored", "Virtual"});
            } else {
                m_oDispatcher.unsubscribeAll(*pGone);
            }
            pGone.reset();
            m_oDispatcher.unsubscribeAll(m_oFirst);
        };
        write(m_pMe, "Stored");
        write(m_pMe, "Virtual");
        EXPECT_EQ(told(m_oFirst).size(), 1U);
        EXPECT_EQ(m_oSecond.take().size(), 1U);
        EXPECT_FALSE(m_oDispatcher.hasSubscriber("Virtual"));
    }
}

TEST_F(ChangeTest, ASubscriberThatThrowsHarmsNobody)
{
    m_oDispatcher.subscribe(m_oFirst, {"Stored"});
    m_oDispatcher.subscribe(m_oSecond, {"Stored"});
    m_oFirst.m_oWhenTold = [] { throw std::runtime_error("not today"); };
    write(m_pMe, "Stored");
    testing::internal::CaptureStderr();
    EXPECT_EQ(told(m_oSecond).size(), 1U);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("notify failed: not today"));
    m_oFirst.take();
    write(m_pMe, "Stored");
    EXPECT_EQ(told(m_oFirst).size(), 1U);
}

TEST_F(ChangeTest, ASubscriptionToATableToComeWaitsForIt)
{
    EXPECT_FALSE(m_oDispatcher.subscribe(m_oFirst, {"Later", "Stored"}));
    EXPECT_FALSE(m_oDispatcher.hasTable("Later"));
    EXPECT_TRUE(m_oDispatcher.hasSubscriber("Later"));
    EXPECT_TRUE(m_oDispatcher.hasSubscriber("Stored"));
    EXPECT_FALSE(m_oDispatcher.hasSubscriber("Virtual"));
    EXPECT_EQ(write(m_pMe, "Later"), EResultCode::NoTable);
    m_oVirtual.m_lTables.add("Later");
    m_oDispatcher.attachTables(m_oVirtual);
    write(m_pMe, "Later");
    EXPECT_THAT(told(m_oFirst), ElementsAre(NameList({"Later"})));
    m_oDispatcher.unsubscribe(m_oFirst, {"Later", "Unknown"});
    EXPECT_FALSE(m_oDispatcher.hasSubscriber("Later"));
    EXPECT_FALSE(m_oDispatcher.hasSubscriber("Unknown"));
}

TEST_F(ChangeTest, TheNamesOfATickAreChangesAndTheListIsEmptiedEachTime)
{
    m_oDispatcher.subscribe(m_oFirst, {"Virtual", "Stored"});
    m_oVirtual.m_lTicked = {"Virtual", "Unknown", "Virtual"};
    NameList lChanged = {"Stored"}; // as main hands its list over, whatever is in it
    m_oDispatcher.tick(lChanged);
    EXPECT_TRUE(lChanged.empty());
    EXPECT_THAT(told(m_oFirst), ElementsAre(NameList({"Stored", "Virtual"})));
}

TEST_F(ChangeTest, RowsThatChangeAlongWithAWriteLeaveTheVersionOfTheirTableAsItWas)
{
    m_oStored.m_lTables.add("Along");
    m_oDispatcher.attachTables(m_oStored);
    m_oDispatcher.subscribe(m_oFirst, {"Stored", "Along", "Virtual"});
    unsigned long iVersion = 0;
    const auto hasMoved = [&] {
        const unsigned long iBefore = std::exchange(iVersion, m_oDispatcher.getVersion("Along"));
        return iVersion != iBefore;
    };
    const auto writeBoth = [&] {
        m_oStored.m_lTouched = {"Stored", "Along", "Virtual", "Unknown"};
        write(m_pMe, "Stored");
        return hasMoved();
    };
    EXPECT_TRUE(writeBoth());
    EXPECT_THAT(told(m_oFirst), ElementsAre(NameList({"Stored", "Along"})));
    begin(m_pMe);
    EXPECT_TRUE(writeBoth());
    rollback(m_pMe);
    EXPECT_TRUE(hasMoved());
    EXPECT_FALSE(m_oDispatcher.hasNotifications());

    m_oStored.m_bTouchedComplete = false; // memory was out
    write(m_pMe, "Stored");
    EXPECT_THAT(told(m_oFirst), ElementsAre(NameList({"Stored", "Along"})));
}

TEST_F(ChangeTest, OnlyAChangeThatHoldsOfAPersistentTableMarksTheTrigger)
{
    struct Hook : PersistScript::IHook
    {
        void persist(PersistScript::EPersistMode) override { ++m_iCalls; }
        std::optional<bool> getResult(bool) override { return true; }
        int m_iCalls = 0;
    } oHook;
    PersistScript oScript(oHook, 10, PersistScript::c_ePersistDefault);
    ConfigDispatcher::instance().setPersistScript(nullptr);
    m_oDispatcher.setPersistScript(&oScript);
    m_oStored.m_bPersistent = true;
    const auto isMarked = [&] {
        oHook.m_iCalls = 0;
        oScript.process(true);
        return oHook.m_iCalls > 0;
    };
    write(m_pMe, "Virtual");
    EXPECT_FALSE(isMarked());
    write(m_pMe, "Stored");
    EXPECT_TRUE(isMarked());
    EXPECT_FALSE(isMarked());

    begin(m_pMe);
    write(m_pMe, "Stored");
    EXPECT_FALSE(isMarked());
    rollback(m_pMe);
    EXPECT_FALSE(isMarked());
    begin(m_pMe);
    write(m_pMe, "Stored");
    commit(m_pMe);
    EXPECT_TRUE(isMarked());

    NameList lTicked = {"Stored"};
    m_oDispatcher.tick(lTicked);
    EXPECT_TRUE(isMarked());
    m_oStored.m_mResults["insertRow"] = EResultCode::Constraint;
    write(m_pMe, "Stored");
    EXPECT_FALSE(isMarked());
    m_oStored.m_lTouched = {"Stored"}; // it failed half way
    write(m_pMe, "Stored");
    EXPECT_TRUE(isMarked());
    oScript.process(false);
    m_oDispatcher.sendNotifications();
    EXPECT_FALSE(m_oDispatcher.isPassEndAwaited()); // but for a save that is due
    oScript.trigger();
    EXPECT_TRUE(m_oDispatcher.isPassEndAwaited());
}
