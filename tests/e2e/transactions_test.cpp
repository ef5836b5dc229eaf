// Transactions over the socket: who may begin and write, who waits, what a lost one leaves behind.
#include "tests/e2e/daemontest.h"

#include <chrono>

namespace e2e {
namespace {

class Transactions : public RunningDaemonTest
{
protected:
    /// Sends a begin that waits, and returns when the daemon has it in its queue.
    void queueBegin(RawClient& a_oClient, std::uint32_t a_iWaitMs = 3600 * 1000,
                    const std::string& a_sBehind = {})
    {
        const unsigned iWaiting = client().info("TransactionsWaiting");
        a_oClient.send(frameOf(request::Begin{a_iWaitMs}) + a_sBehind);
        EXPECT_TRUE(eventually([&] { return client().info("TransactionsWaiting") == iWaiting + 1; }));
    }
};

TEST_F(Transactions, CommitKeepsTheChangesOfAllDatabasesAndRollbackNone)
{
    const request::InsertRow oInsert{"Scratch", row({{"Text", "x"}})};
    EXPECT_THAT(client().codes(request::Begin{}, setNote("discarded"), oInsert, request::Rollback{}),
                Each(0U));
    EXPECT_EQ("red", note());
    EXPECT_EQ(0U, client().count("Scratch"));

    EXPECT_THAT(client().codes(request::Begin{}, setNote("kept"), oInsert), Each(0U));
    EXPECT_EQ(6U, client().code(request::InsertRow{"Item", row({{"Name", "pear"}})})); // undoes only itself
    EXPECT_EQ(0U, client().code(request::Commit{}));
    stop();
    EXPECT_THAT(m_oSandbox.sql("persistent-common.db", "SELECT Note FROM Item WHERE Id = 1"),
                ElementsAre("kept"));
    EXPECT_THAT(m_oSandbox.sql("transient.db", "SELECT Text FROM Scratch"), ElementsAre("x"));
}

TEST_F(Transactions, OthersMayReadButNeitherBeginNorWriteStoredTables)
{
    Client oOther(socket());
    const ValueList lRow = row({{"Text", "x"}});
    EXPECT_THAT(client().codes(request::Begin{}, setNote("by the owner")), Each(0U));
    EXPECT_THAT(
        logOf([&] {
            EXPECT_THAT(
                oOther.codes(request::Begin{}, request::InsertRow{"Scratch", lRow},
                             request::InsertKey{"Scratch", lRow}, request::UpdateRow{"Twins", 0, lRow},
                             request::UpdateKey{"Twins", "Id", "1", lRow}, request::DeleteRow{"Twins", 0},
                             request::DeleteKey{"Twins", "Id", "1"}, request::DeleteAll{"Twins"},
                             request::DeleteAll{"Job"}), // no transactions, but an owner
                Each(2U));
            EXPECT_EQ(0U, oOther.code(request::UpdateRow{"ConfigServerConfig", 0,
                                                         row({{"TransactionTimeout", 60}})}));
        }),
        IsEmpty());
    EXPECT_THAT(oOther.codes(request::SelectRow{"Item", 0}, request::SelectRows{"Job"}), Each(0U));
    EXPECT_EQ(3U, oOther.count("Twins"));
    EXPECT_THAT(oOther.codes(request::Commit{}, request::Rollback{}), Each(1U));

    EXPECT_EQ(0U, client().code(request::Commit{}));
    EXPECT_EQ("by the owner", note());
    EXPECT_THAT(oOther.codes(request::Begin{}, request::DeleteAll{"Twins"}, request::Commit{}), Each(0U));
}

TEST_F(Transactions, BeginTwiceAndEndWithoutBeginGive1)
{
    EXPECT_THAT(client().codes(request::Commit{}, request::Rollback{}, request::Begin{}, request::Begin{},
                               request::Begin{3600 * 1000}, setNote("still in it"), request::Rollback{},
                               request::Rollback{}),
                ElementsAre(1, 1, 0, 1, 1, 0, 0, 1));
    EXPECT_EQ("red", note());
}

TEST_F(Transactions, ThoseWhoWaitBeginInOrderAndBeforeAnyoneElse)
{
    RawClient oFirst(socket());
    RawClient oSecond(socket());
    EXPECT_EQ(0U, client().code(request::Begin{}));
    queueBegin(oFirst);
    queueBegin(oSecond, 3600 * 1000, frameOf(request::Ping{}, 2));

    EXPECT_EQ(0U, client().code(request::Commit{}));
    EXPECT_EQ(2U, client().code(request::Begin{}));
    EXPECT_EQ(0U, oFirst.receiveCode());
    EXPECT_EQ(1U, client().info("TransactionsWaiting"));
    EXPECT_FALSE(oSecond.hasInput());
    // The owner leaves and begins again in one breath: it has to wait as well.
    oFirst.send(frameOf(request::Rollback{}, 2) + frameOf(request::Begin{}, 3));
    EXPECT_EQ(0U, oFirst.receiveCode(2));
    EXPECT_EQ(2U, oFirst.receiveCode(3));
    EXPECT_EQ(0U, oSecond.receiveCode(1));
    EXPECT_EQ(0U, oSecond.receiveCode(2));
    EXPECT_EQ(0U, oSecond.ask(request::Commit{}));
    EXPECT_EQ(0U, client().code(request::Begin{3600 * 1000}));
}

TEST_F(Transactions, WaitThatIsOverGives2)
{
    Client oOther(socket());
    EXPECT_EQ(0U, client().code(request::Begin{}));
    const auto oStart = std::chrono::steady_clock::now();
    EXPECT_EQ(2U, oOther.code(request::Begin{50}));
    EXPECT_GE(std::chrono::steady_clock::now() - oStart, 50ms);
    EXPECT_EQ(0U, client().info("TransactionsWaiting"));
    EXPECT_THAT(client().codes(setNote("mine"), request::Commit{}), Each(0U));
    EXPECT_EQ(0U, oOther.code(request::Begin{}));
}

TEST_F(Transactions, ClientsThatVanishLeaveQueueAndTransaction)
{
    RawClient oOwner(socket());
    RawClient oQuitter(socket());
    RawClient oPatient(socket());
    EXPECT_EQ(0U, oOwner.ask(request::Begin{}));
    EXPECT_EQ(0U, oOwner.ask(setNote("not committed")));
    queueBegin(oQuitter);
    queueBegin(oPatient);
    oQuitter.close();
    EXPECT_TRUE(eventually([&] { return client().info("TransactionsWaiting") == 1; }));
    EXPECT_FALSE(oPatient.hasInput());
    oOwner.close();
    EXPECT_EQ(0U, oPatient.receiveCode());
    EXPECT_EQ("red", note());
    EXPECT_EQ(0U, oPatient.ask(setNote("committed")));
    EXPECT_EQ(0U, oPatient.ask(request::Commit{}));
    EXPECT_EQ("committed", note());
}

TEST_F(Transactions, ChangesAreToldBeforeTheNextInTheQueueBegins)
{
    RawClient oOne(socket());
    RawClient oTwo(socket());
    EXPECT_TRUE(client().subscribe({"Item"}).ok());
    EXPECT_EQ(0U, oOne.ask(request::Begin{}));
    queueBegin(oTwo);
    for (RawClient *pOwner = &oOne, *pNext = &oTwo; auto iNote : {"a", "b", "c", "d", "e"}) {
        // Who commits asks for the next turn at once, so that there is always someone who waits.
        pOwner->send(frameOf(setNote(iNote), 2) + frameOf(request::Commit{}, 3) +
                     frameOf(request::Begin{3600 * 1000}, 1));
        EXPECT_EQ(0U, pOwner->receiveCode(2));
        EXPECT_EQ(0U, pOwner->receiveCode(3));
        EXPECT_EQ(0U, pNext->receiveCode(1));
        EXPECT_THAT(client().changes(), ElementsAre("Item"));
        std::swap(pOwner, pNext);
    }
}

TEST_F(Transactions, BeginRightBehindAChangeIsGranted)
{
    RawClient oClient(socket());
    oClient.send(frameOf(setNote("a"), 1) + frameOf(request::Begin{}, 2) + frameOf(setNote("b"), 3) +
                 frameOf(request::Commit{}, 4) + frameOf(request::Begin{}, 5) +
                 frameOf(request::Commit{}, 6));
    EXPECT_THAT(oClient.receiveCodes(6), Each(0U));
}

TEST_F(Transactions, ALockGoesBeforeTheNextOfAClientThatCommitsAndBeginsInOneBreath)
{
    RawClient oBusy(socket());
    RawClient oQueued(socket());
    EXPECT_EQ(0U, oBusy.ask(request::Begin{}));
    oBusy.send(frameOf(request::Commit{}, 1) + frameOf(request::Begin{}, 2));
    EXPECT_THAT(oBusy.receiveCodes(2), Each(0U));
    command("lock");
    EXPECT_EQ(0U, client().info("Locked"));
    oBusy.send(frameOf(request::Commit{}, 1) + frameOf(request::Begin{}, 2));
    EXPECT_THAT(oBusy.receiveCodes(2), ElementsAre(0, 3));
    EXPECT_EQ(1U, client().info("Locked"));

    // Nor are those who wait told that somebody else's transaction is in their way.
    command("unlock");
    EXPECT_TRUE(eventually([&] { return oBusy.ask(request::Begin{}) == 0U; }));
    queueBegin(oQueued);
    command("lock");
    EXPECT_EQ(0U, oBusy.ask(request::Rollback{}));
    EXPECT_EQ(3U, oQueued.receiveCode());
}

TEST_F(Transactions, WorkSentBehindAWaitingBeginIsToldWithoutDelay)
{
    RawClient oQueued(socket());
    EXPECT_TRUE(client().subscribe({"Item"}).ok());
    EXPECT_EQ(0U, client().code(request::Begin{}));
    queueBegin(oQueued, 3600 * 1000, frameOf(setNote("new"), 2) + frameOf(request::Commit{}, 3));
    EXPECT_EQ(0U, client().code(request::Commit{}));
    const auto oStart = std::chrono::steady_clock::now();
    EXPECT_THAT(oQueued.receiveCodes(3), Each(0U));
    EXPECT_EQ("Item", **client().waitForChange(c_oDeadline));
    EXPECT_LT(std::chrono::steady_clock::now() - oStart, 1s);
}

TEST_F(Transactions, WritesToDatabasesWithoutTransactionsHoldOverARollbackAndAreTold)
{
    Client oSubscriber(socket());
    EXPECT_TRUE(oSubscriber.subscribe({"Item", "Job", "ConfigServerConfig"}).ok());
    EXPECT_THAT(
        client().codes(request::Begin{}, setNote("discarded"),
                       request::InsertRow{"Job", row({{"Name", "second"}})},
                       request::UpdateRow{"ConfigServerConfig", 0, row({{"DefaultTransactionTimeout", 60}})},
                       request::Rollback{}),
        Each(0U));
    EXPECT_EQ("red", note());
    EXPECT_EQ("second", client().cell("Job", 2, "Name"));
    EXPECT_EQ((std::set<std::string>{"ConfigServerConfig", "Job"}),
              oSubscriber.awaitChanges(2)); // and not Item
}

TEST_F(Transactions, OneThatLastsTooLongIsLostUntilItsOwnerEndsIt)
{
    const auto oLost = [](RawClient& a_oOwner) {
        const auto oEvent = a_oOwner.receive();
        EXPECT_TRUE(oEvent && oEvent->m_eKind == EKind::Event &&
                    oEvent->m_eOperation == EOperation::TransactionLost);
    };
    RawClient oOwner(socket());
    RawClient oNext(socket());
    EXPECT_EQ(0U, client().code(request::UpdateRow{
                      "ConfigServerConfig", 0,
                      row({{"TransactionTimeout", 1}, {"DefaultTransactionTimeout", 1}})}));
    EXPECT_EQ(0U, oOwner.ask(request::Begin{}));
    EXPECT_EQ(0U, oOwner.ask(setNote("lost")));
    queueBegin(oNext);
    EXPECT_THAT(logOf([&] { oLost(oOwner); }),
                ElementsAre("warning ConfigDispatcher The open transaction is rolled back: it lasted longer"
                            " than the transaction time-out"));
    EXPECT_EQ("red", note());
    EXPECT_EQ(0U, oNext.receiveCode());
    EXPECT_EQ(0U, oOwner.ask(request::Ping{}));
    EXPECT_EQ(1U, oOwner.ask(setNote("outside")));
    EXPECT_EQ(1U, oOwner.ask(request::SelectRows{"Item"}));
    EXPECT_EQ(1U, oOwner.ask(request::Rollback{}));
    EXPECT_EQ(0U, oOwner.ask(request::GetSize{"Item"}));

    // The one that waited has the same time from its own beginning, and may begin anew.
    oLost(oNext);
    EXPECT_EQ(1U, oNext.ask(setNote("outside")));
    EXPECT_EQ(0U, oNext.ask(request::Begin{}));
    EXPECT_EQ(0U, oNext.ask(setNote("committed")));
    EXPECT_EQ(0U, oNext.ask(request::Commit{}));
    EXPECT_EQ("committed", note());
}

} // namespace
} // namespace e2e
