// What the daemon does when memory is out: it goes on, and what it answered holds.
#include "tests/e2e/daemontest.h"

#include <list>
#include <sys/resource.h>

namespace e2e {
namespace {

class OutOfMemory : public DaemonTest
{
protected:
    void SetUp() override
    {
        if (c_bSanitized) {
            GTEST_SKIP() << "a sanitizer takes all the address space there is";
        }
        m_oSandbox.addLargeTable(5000, 1000);
        start();
    }

    /// Lets the daemon have so much more address space than it has now.
    void limit(rlim_t a_iMore)
    {
        const rlimit oLimit{std::stoul(status("VmSize")) * 1024 + a_iMore, RLIM_INFINITY};
        ASSERT_EQ(0, ::prlimit(daemon().pid(), RLIMIT_AS, &oLimit, nullptr));
    }
    void liftLimit()
    {
        const rlimit oNone{RLIM_INFINITY, RLIM_INFINITY};
        ASSERT_EQ(0, ::prlimit(daemon().pid(), RLIMIT_AS, &oNone, nullptr));
    }

    /// Takes what memory the daemon has left: output that nobody reads, and the beginnings of long requests.
    std::list<RawClient> takeMemory()
    {
        std::list<RawClient> lClients;
        for (int i = 0; i < 20; ++i) {
            auto& oClient = lClients.emplace_back(socket(), RawClient::EHello::NotYet);
            oClient.send(frameOf(request::Hello{"greedy"}) + frameOf(request::SelectRows{"Large"}) +
                         frameOf(request::DeleteKey{"Item", "Name", repeat("x", 100000)}).substr(0, 100000));
        }
        return lClients;
    }
};

/// Sends an insert into Scratch. Its code; nothing when the connection is closed.
std::optional<unsigned> insert(RawClient& a_oClient, const std::string& a_sText)
{
    a_oClient.send(frameOf(request::InsertRow{"Scratch", row({{"Text", a_sText.c_str()}})}));
    const auto oReply = a_oClient.receive();
    return oReply ? std::optional(oReply->m_iCode) : std::nullopt;
}

TEST_F(OutOfMemory, TheDaemonGoesOnAndWhatItAnsweredHoldsAndIsTold)
{
    std::set<std::string> lDone;
    std::size_t iUnknown = 0; // whether they were done was not answered
    int iRow = 0;
    for (const rlim_t iMore : {0U, 100U, 300U, 800U, 2500U}) {
        RawClient oSubscriber(socket());
        RawClient oWriter(socket());
        ASSERT_EQ(0U, oSubscriber.ask(request::Subscribe{{"Scratch"}}));
        limit(iMore * 1024);
        auto lGreedy = takeMemory();
        bool bChanged = false;
        std::optional<unsigned> oCode = 0;
        for (int i = 0; oCode && i < 300; ++i) {
            const std::string sText = std::to_string(++iRow) + repeat("x", 3000);
            oCode = insert(oWriter, sText);
            EXPECT_LE(oCode.value_or(1), 1U);
            if (oCode == 0U) {
                lDone.insert(sText);
                bChanged = true;
            }
            iUnknown += oCode ? 0 : 1;
        }
        liftLimit();
        lGreedy.clear();
        if (bChanged) {
            const auto oEvent = oSubscriber.receive(); // or it is closed, and knows that it missed something
            EXPECT_TRUE(!oEvent || oEvent->m_eOperation == EOperation::TableChanged);
        }
        ASSERT_FALSE(daemon().hasEnded()) << iMore;
        Client oAfter(socket());
        EXPECT_EQ(5000U, oAfter.count("Large"));
        EXPECT_THAT(oAfter.codes(request::Begin{1000}, setNote(std::to_string(iMore)), request::Commit{}),
                    Each(0U));
        const auto lTexts = oAfter.rows("Scratch", {"Text"});
        EXPECT_TRUE(std::ranges::includes(std::set(lTexts.begin(), lTexts.end()), lDone));
        EXPECT_LE(lTexts.size(), lDone.size() + iUnknown) << "what was answered with 1 was not done";
    }
    EXPECT_THAT(daemon().errors(), HasSubstr("Out of memory"));
    EXPECT_TRUE(
        eventually([this] { return daemon().errors().find("There is memory again") != std::string::npos; }));
}

TEST_F(OutOfMemory, ATransactionIsCommittedAsAWholeOrNotAtAll)
{
    for (const rlim_t iMore : {0U, 100U, 300U, 800U, 2500U}) {
        const unsigned iBefore = Client(socket()).count("Scratch");
        RawClient oWriter(socket());
        ASSERT_EQ(0U, oWriter.ask(request::Begin{}));
        limit(iMore * 1024);
        auto lGreedy = takeMemory();
        unsigned iDone = 0;
        std::optional<unsigned> oCode = 0;
        for (int i = 0; oCode && i < 900; ++i) {
            oCode = insert(oWriter, repeat("y", 3000));
            iDone += oCode == 0U ? 1 : 0;
        }
        oWriter.send(frameOf(request::Commit{}));
        const auto oCommitted = oWriter.receive();
        liftLimit();
        const bool bCommitted = oCommitted && oCommitted->m_iCode == 0U;
        EXPECT_EQ(iBefore + (bCommitted ? iDone : 0), Client(socket()).count("Scratch")) << iMore;
        EXPECT_TRUE(!oCommitted || oCommitted->m_iCode <= 1U);
    }
    EXPECT_THAT(daemon().errors(), HasSubstr("Error 7 (out of memory)"));
}

} // namespace
} // namespace e2e
