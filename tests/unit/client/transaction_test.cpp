#include "client/transaction.h"

#include "tests/unit/client/fakeserver.h"

#include <gmock/gmock.h>

#include <optional>

namespace systema::client {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class TransactionTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_oServer.accept(m_oConnection).ok());
        m_oTransaction.emplace(m_oConnection);
    }

    void begin()
    {
        m_oServer.reply();
        ASSERT_TRUE(m_oTransaction->begin(5s).ok());
        EXPECT_TRUE(m_oTransaction->isOpen());
        const auto lRequests = m_oServer.requests();
        ASSERT_EQ(lRequests.size(), 1u);
        EXPECT_EQ(Reader(lRequests[0].m_sBody).u32(), 5000u);
    }

    FakeServer m_oServer;
    Connection m_oConnection{{"", "test", 200ms}};
    std::optional<Transaction> m_oTransaction;
};

} // namespace

TEST_F(TransactionTest, RollsBackWhenItIsDropped)
{
    begin();
    m_oServer.reply();
    m_oTransaction.reset();
    EXPECT_THAT(m_oServer.operations(), ElementsAre(EOperation::Rollback));
    EXPECT_EQ(m_oConnection.unanswered(), 0u);
}

TEST_F(TransactionTest, EndsWithItsConnection)
{
    begin();
    FakeServer oNew;
    ASSERT_TRUE(oNew.accept(m_oConnection).ok());
    EXPECT_FALSE(m_oTransaction->isOpen());
    EXPECT_TRUE(m_oTransaction->commit().isConnectionError());
    m_oTransaction.reset();
    EXPECT_THAT(oNew.operations(), IsEmpty());
}

TEST_F(TransactionTest, ALostTransactionSaysWhyUntilItIsEnded)
{
    std::string sTold;
    m_oConnection.onTransactionLost([&](const std::string& a_sReason) { sTold = a_sReason; });
    begin();
    m_oServer.event(EOperation::TransactionLost, "it took too long");
    m_oServer.reply(EResultCode::Failure);
    m_oServer.reply(EResultCode::Failure);
    m_oServer.reply(EResultCode::Failure);
    EXPECT_EQ(m_oConnection.call(request::DeleteAll{"T"}).text(),
              "the transaction was rolled back: it took too long");
    EXPECT_EQ(sTold, "it took too long");
    EXPECT_EQ(m_oTransaction->commit().text(), "the transaction was rolled back: it took too long");
    EXPECT_EQ(m_oConnection.call(request::DeleteAll{"T"}).text(), "general failure");
}

} // namespace systema::client
