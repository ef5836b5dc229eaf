// Routing, attachment, hold and release, the lock. Transactions and changes have files of their own.
#include "systema/configdispatcher.h"

#include "tests/unit/systema/dispatcherfixture.h"
#include "zel/assert.h"

#include <gmock/gmock.h>

using systema::EResultCode;
using systema::NameList;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using ConfigDispatcherTest = DispatcherTest;

} // namespace

TEST_F(ConfigDispatcherTest, ATableThatNobodyServesIs8AndANullHandleAnAssertion)
{
    EXPECT_EQ(read(m_pMe, "stored"), EResultCode::NoTable);
    EXPECT_THROW(read(nullptr, "Stored"), zel::error::AssertionError);
    EXPECT_THROW(write(nullptr, "Stored"), zel::error::AssertionError);
    EXPECT_THAT(m_lCalls, IsEmpty());
}

TEST_F(ConfigDispatcherTest, InitializeOpensAndSetsUpEachPluginOnceAndAttachesWhatItThenServes)
{
    RecordingPlugin oViews("views", {}, m_lCalls);
    oViews.m_lLateTables = {"View", "Stored"};
    m_oDispatcher.attachTables(oViews);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(m_oDispatcher.initialize());
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Stored is attached already"));
    EXPECT_THAT(takeCalls(), ElementsAre("virtual.open", "stored.open", "views.open", "virtual.initialize",
                                         "stored.initialize", "views.initialize"));
    EXPECT_TRUE(m_oDispatcher.connectionOpened());
    NameList lTables;
    m_oDispatcher.getTables(lTables, m_pMe);
    EXPECT_EQ(lTables, NameList({"Virtual", "Stored", "View"}));
    EXPECT_EQ(read(m_pMe, "View"), EResultCode::Success);

    m_oDispatcher.initialize();
    EXPECT_THAT(m_lCalls, testing::Not(testing::Contains("views.initialize")));
}

TEST_F(ConfigDispatcherTest, APluginThatThrowsDoesNotKeepTheOthersFromTheirWork)
{
    const struct
    {
        const char* m_pOperation;
        void (*m_pRun)(ConfigDispatcher&, const void*);
    } aCases[] = {
        {"open", [](auto& a_oDispatcher, auto a_pHandle) { a_oDispatcher.open(a_pHandle); }},
        {"tick",
         [](auto& a_oDispatcher, auto) {
             NameList lChanged;
             a_oDispatcher.tick(lChanged);
         }},
        {"close", [](auto& a_oDispatcher, auto a_pHandle) { a_oDispatcher.close(a_pHandle); }},
    };
    for (const auto& oCase : aCases) {
        m_oVirtual.m_sThrows = oCase.m_pOperation;
        testing::internal::CaptureStderr();
        oCase.m_pRun(m_oDispatcher, m_pMe);
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    HasSubstr(std::string(oCase.m_pOperation) + " throws"));
        EXPECT_THAT(takeCalls(), testing::Contains(std::string("stored.") + oCase.m_pOperation));
    }
}

TEST_F(ConfigDispatcherTest, APluginThatCannotBeSetUpEndsTheStart)
{
    m_oVirtual.m_sThrows = "initialize";
    EXPECT_THROW(m_oDispatcher.initialize(), std::runtime_error);
}

TEST_F(ConfigDispatcherTest, ALockWaitsForTheOpenTransaction)
{
    begin(m_pMe);
    m_oDispatcher.lock();
    m_oDispatcher.processLocks();
    EXPECT_FALSE(m_oDispatcher.isLocked());
    EXPECT_EQ(write(m_pMe, "Stored"), EResultCode::Success);
    commit(m_pMe);
    m_oDispatcher.processLocks();
    EXPECT_TRUE(m_oDispatcher.isLocked());
    m_oDispatcher.unlock();
    m_oDispatcher.lock(); // asked back before it was processed
    m_oDispatcher.processLocks();
    EXPECT_TRUE(m_oDispatcher.isLocked());
}
