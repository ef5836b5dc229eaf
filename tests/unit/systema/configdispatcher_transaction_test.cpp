// Transactions of the dispatcher: who may have one, how it begins and ends, and how it is lost.
#include "tests/unit/systema/dispatcherfixture.h"

#include <gmock/gmock.h>

using systema::EResultCode;
using systema::NameList;
using testing::ElementsAre;

namespace {

class TransactionTest : public DispatcherTest
{
protected:
    /// Turns the clock and looks at the time-out; true when the open transaction was rolled back.
    bool isOverdueAfter(long a_iSeconds)
    {
        m_oNow += std::chrono::seconds(a_iSeconds);
        m_oDispatcher.checkTransactionTimeout();
        return !m_oDispatcher.isTransactionOpen();
    }
};

} // namespace

TEST_F(TransactionTest, AFailingStartUndoesThoseThatStarted)
{
    RecordingPlugin oThird("third", {"Third"}, m_lCalls);
    m_oDispatcher.attachTables(oThird);
    m_oStored.m_mResults["startTransaction"] = EResultCode::Locked;
    EXPECT_EQ(begin(m_pMe), EResultCode::Locked);
    EXPECT_THAT(takeCalls(), ElementsAre("virtual.startTransaction", "stored.startTransaction",
                                         "virtual.rollbackTransaction"));
    EXPECT_FALSE(m_oDispatcher.isTransactionOpen());
    EXPECT_EQ(write(m_pOther, "Virtual"), EResultCode::Success);
    EXPECT_EQ(commit(m_pMe), EResultCode::Failure);
    EXPECT_EQ(m_oDispatcher.getStatistics().m_iTransactions, 0U);

    m_oStored.m_mResults.clear();
    m_oStored.m_sThrows = "startTransaction";
    EXPECT_EQ(begin(m_pMe), EResultCode::Failure);
    EXPECT_FALSE(m_oDispatcher.isTransactionOpen());
}

TEST_F(TransactionTest, AFailingCommitRollsTheRestBackAndTellsOnlyWhatWasCommitted)
{
    StoredPlugin oThird("third", {"Third"}, m_lCalls);
    StoredPlugin oFourth("fourth", {"Fourth"}, m_lCalls);
    m_oDispatcher.attachTables(oThird);
    m_oDispatcher.attachTables(oFourth);
    oThird.m_mResults["commitTransaction"] = EResultCode::Constraint;
    begin(m_pMe);
    for (const auto* pTable : {"Fourth", "Third", "Stored"}) {
        write(m_pMe, pTable);
    }
    takeCalls();
    EXPECT_EQ(commit(m_pMe), EResultCode::Constraint);
    EXPECT_THAT(m_lCalls, ElementsAre("virtual.commitTransaction", "stored.commitTransaction",
                                      "third.commitTransaction", "third.rollbackTransaction",
                                      "fourth.rollbackTransaction"));
    EXPECT_FALSE(m_oDispatcher.isTransactionOpen());

    m_oDispatcher.subscribe(m_oFirst, {"Stored", "Third", "Fourth"});
    EXPECT_THAT(told(m_oFirst), ElementsAre(NameList({"Stored"})));
}

TEST_F(TransactionTest, ARollbackGoesThroughEveryPluginAndReportsTheFirstFailure)
{
    begin(m_pMe);
    takeCalls();
    m_oVirtual.m_sThrows = "rollbackTransaction";
    m_oStored.m_mResults["rollbackTransaction"] = EResultCode::Constraint;
    EXPECT_EQ(rollback(m_pMe), EResultCode::Failure);
    EXPECT_THAT(m_lCalls, ElementsAre("virtual.rollbackTransaction", "stored.rollbackTransaction"));
    EXPECT_EQ(begin(m_pOther), EResultCode::Success);
}

TEST_F(TransactionTest, TheCurrentTimeoutHoldsForOneTransactionAndTheDefaultReturns)
{
    EXPECT_EQ(m_oDispatcher.getTransactionTimeout(), 30);
    m_oDispatcher.setTransactionTimeout(5);
    m_oDispatcher.setDefaultTransactionTimeout(60);
    EXPECT_EQ(m_oDispatcher.getTransactionTimeout(), 5);
    EXPECT_EQ(m_oDispatcher.getDefaultTransactionTimeout(), 60);
    begin(m_pMe);
    EXPECT_FALSE(isOverdueAfter(4));
    EXPECT_TRUE(isOverdueAfter(1));

    EXPECT_EQ(m_oDispatcher.getTransactionTimeout(), 60);
    begin(m_pOther);
    EXPECT_FALSE(isOverdueAfter(59));
    m_oDispatcher.setTransactionTimeout(61); // for the one that is open
    EXPECT_FALSE(isOverdueAfter(1));
    EXPECT_TRUE(isOverdueAfter(1));
    EXPECT_EQ(m_oDispatcher.getTransactionTimeout(), 60);
}

TEST_F(TransactionTest, ALossIsToldThoughTheLockThatWaitedForItHoldsThen)
{
    struct Observer : systema::ITransactionObserver
    {
        void transactionLost(const void* a_pHandle, const char*) override { m_lLost.push_back(a_pHandle); }
        void transactionEnded() override {}
        void transactionFree() override {}
        void transactionLocked() override {}
        std::vector<const void*> m_lLost;
    } oObserver;
    m_oDispatcher.setTransactionObserver(&oObserver);
    begin(m_pMe);
    m_oDispatcher.lock();
    m_oStored.m_bLost = true;
    write(m_pMe, "Stored");
    EXPECT_TRUE(oObserver.m_lLost.empty()); // before the answer to the write
    m_oDispatcher.processLocks();
    EXPECT_TRUE(m_oDispatcher.isLocked()); // nothing else happens in such a pass
    EXPECT_THAT(oObserver.m_lLost, ElementsAre(m_pMe));
}

TEST_F(TransactionTest, AHandleThatDisconnectsIsForgotten)
{
    // A new connection at the address of one that lost its transaction has lost nothing.
    begin(m_pMe);
    isOverdueAfter(30);
    m_oDispatcher.disconnect(m_pMe);
    EXPECT_EQ(read(m_pMe, "Stored"), EResultCode::Success);
}
