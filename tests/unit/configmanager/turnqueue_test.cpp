#include "configmanager/turnqueue.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

using std::chrono::milliseconds;
using zel::cfg::TurnQueue;
using zel::cfg::TurnTaker;

namespace {

class TurnQueueTest : public testing::Test
{
protected:
    /// Each turn takes the time given. It waits again at once, or ends with its turn.
    class Taker : public TurnTaker
    {
    public:
        Taker(TurnQueueTest& a_oTest, uid_t a_iUser, milliseconds a_oTime)
            : TurnTaker(a_oTest.m_oQueue, a_iUser),
              m_oTest(a_oTest),
              m_oTime(a_oTime)
        {
            awaitTurn();
        }

        void onTurn() override
        {
            m_oTest.m_oNow += m_oTime;
            ++m_iTurns;
            awaitTurn();
        }

        TurnQueueTest& m_oTest;
        const milliseconds m_oTime;
        int m_iTurns = 0;
    };

    using Takers = std::vector<std::unique_ptr<Taker>>;

    Takers make(int a_iCount, uid_t a_iUser, milliseconds a_oTime)
    {
        Takers lTakers;
        for (int i = 0; i < a_iCount; ++i) {
            lTakers.push_back(std::make_unique<Taker>(*this, a_iUser, a_oTime));
        }
        return lTakers;
    }

    void run(int a_iTurns)
    {
        for (int i = 0; i < a_iTurns; ++i) {
            m_oQueue.runNext();
        }
    }

    systema::net::EventDispatcher::Clock::time_point m_oNow{};
    systema::net::EventDispatcher m_oEvents{[this] { return m_oNow; }};
    TurnQueue m_oQueue{m_oEvents};
};

} // namespace

TEST_F(TurnQueueTest, AShortRequestDoesNotWaitForTheSumOfAllBulkReads)
{
    const Takers lBulk = make(400, 1, milliseconds(20));
    run(400);
    const Taker oOfSameUser(*this, 1, milliseconds(0));
    run(2); // one at most has waited for longer
    EXPECT_GE(oOfSameUser.m_iTurns, 1);
    const Taker oOfOtherUser(*this, 2, milliseconds(0));
    run(2);
    EXPECT_GE(oOfOtherUser.m_iTurns, 1);
}

TEST_F(TurnQueueTest, AUserWithManyConnectionsHasTheWeightOfOne)
{
    const Takers lMany = make(100, 1, milliseconds(20));
    const Taker oOne(*this, 2, milliseconds(20));
    run(200);
    EXPECT_EQ(oOne.m_iTurns, 100);
    for (const auto& pTaker : lMany) {
        EXPECT_EQ(pTaker->m_iTurns, 1);
    }
}

TEST_F(TurnQueueTest, ShortRequestsWithoutEndDoNotStarveALongOne)
{
    const Taker oLong(*this, 1, milliseconds(20));
    const Takers lShort = make(10, 1, milliseconds(1));
    run(100);
    EXPECT_GE(oLong.m_iTurns, 5);
    for (const auto& pTaker : lShort) {
        EXPECT_GE(pTaker->m_iTurns, 1);
    }
}

TEST_F(TurnQueueTest, ATakerMayEndInItsTurnOrWhileItWaits)
{
    class Last : public Taker
    {
    public:
        using Taker::Taker;
        void onTurn() override { m_oEnd(); }
        std::function<void()> m_oEnd;
    };
    std::unique_ptr<Last> pFirst = std::make_unique<Last>(*this, 1, milliseconds(0));
    std::unique_ptr<Taker> pSecond = std::make_unique<Taker>(*this, 1, milliseconds(0));
    pFirst->m_oEnd = [&] {
        pSecond.reset();
        pFirst.reset();
    };
    run(1);
    EXPECT_TRUE(m_oQueue.isEmpty());
}
