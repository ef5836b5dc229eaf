// Bytes that are no conversation: whatever comes, the connection that sent it is the only one to suffer.
#include "tests/e2e/daemontest.h"

#include <random>

namespace e2e {
namespace {

using systema::wire::c_iFrameLimit;
using systema::wire::c_iHeaderSize;

std::string numberBytes(std::uint32_t a_iNumber)
{
    std::string sBytes;
    systema::wire::Writer(sBytes).u32(a_iNumber);
    return sBytes;
}

/// A request of every kind, each of which would be served.
std::vector<std::string> everyRequest()
{
    const ValueList lRow = row({{"Id", 5}, {"Name", "plum"}, {"Size", null()}});
    const ValueList lUpdate = row({{"Note", "changed"}, {"Size", Value(EDataType::Unsigned, 7)}});
    return {frameOf(request::Ping{}),
            frameOf(request::Info{}),
            frameOf(request::GetTables{systema::wire::ETableFilter::Stored}),
            frameOf(request::GetSchema{"Item"}),
            frameOf(request::GetSize{"Item"}),
            frameOf(request::SelectRow{"Item", 1, {"Id", "Name"}}),
            frameOf(request::SelectKey{"Item", "Name", "pear", {"Id", "Name"}}),
            frameOf(request::SelectRows{"Item", {"Name"}, 0, 2}),
            frameOf(request::InsertRow{"Item", lRow}),
            frameOf(request::InsertKey{"Item", lRow}),
            frameOf(request::UpdateRow{"Item", 0, lUpdate}),
            frameOf(request::UpdateKey{"Item", "Id", "1", lUpdate}),
            frameOf(request::DeleteRow{"Item", 0}),
            frameOf(request::DeleteKey{"Item", "Id", "3"}),
            frameOf(request::DeleteAll{"Scratch"}),
            frameOf(request::Begin{1}),
            frameOf(request::Commit{}),
            frameOf(request::Rollback{}),
            frameOf(request::Subscribe{{"Item", "Scratch"}, 1}),
            frameOf(request::Unsubscribe{{"Item"}})};
}

class Malformed : public RunningDaemonTest
{
protected:
    /// Expects that the bytes get a reply with code 5 and nothing more, in the operation and id given.
    void expectRefusal(RawClient& a_oClient, std::string_view a_sBytes, EOperation a_eOperation,
                       std::uint32_t a_iId)
    {
        a_oClient.send(a_sBytes);
        EXPECT_EQ((Frame{EKind::Reply, a_eOperation, 5, a_iId, ""}), a_oClient.receive());
        EXPECT_TRUE(a_oClient.isClosed());
    }

    /// The same on a new connection that has said hello.
    void expectRefusal(std::string_view a_sBytes, EOperation a_eOperation, std::uint32_t a_iId = 1)
    {
        RawClient oClient(socket());
        expectRefusal(oClient, a_sBytes, a_eOperation, a_iId);
    }

    /// The client that was there all along is served, and nobody else is left.
    void expectNothingHappened()
    {
        EXPECT_TRUE(eventually([this] { return client().info("Clients") == 1; }));
        EXPECT_EQ(0U, client().info("TransactionOpen"));
        EXPECT_EQ(0U, client().info("TransactionsWaiting"));
    }
};

TEST_F(Malformed, BodyThatEndsEarlyOrLateIsRefused)
{
    for (const auto& sRequest : everyRequest()) {
        const auto eOperation = systema::wire::readHeader(sRequest)->m_eOperation;
        const std::string sBody = sRequest.substr(c_iHeaderSize);
        for (std::size_t iSize = 0; iSize < sBody.size(); ++iSize) {
            expectRefusal(makeFrame(EKind::Request, eOperation, 7, sBody.substr(0, iSize)), eOperation, 7);
        }
        expectRefusal(makeFrame(EKind::Request, eOperation, 7, sBody + '\0'), eOperation, 7);
    }
    expectNothingHappened();
    EXPECT_EQ(3U, client().count("Item"));
}

TEST_F(Malformed, EveryByteChangedLeavesTheDaemonSane)
{
    std::mt19937 oRandom(20240229);
    for (const auto& sRequest : everyRequest()) {
        for (std::size_t iAt = 0; iAt < sRequest.size(); ++iAt) {
            std::string sChanged = sRequest;
            sChanged[iAt] = static_cast<char>(sChanged[iAt] ^ (1 + oRandom() % 255));
            RawClient oClient(socket());
            oClient.send(sChanged);
            oClient.finish();
            while (const auto oFrame = oClient.receive()) {
                ASSERT_TRUE(oFrame->m_eKind != EKind::Request && oFrame->m_iCode <= 10)
                    << testing::PrintToString(sChanged) << testing::PrintToString(*oFrame);
            }
        }
    }
    expectNothingHappened();
}

TEST_F(Malformed, FramesThatCannotBeAreRefusedAtTheirHeader)
{
    const std::string sPing = frameOf(request::Ping{});
    for (const std::uint32_t iLength :
         {0U, 1U, 7U, static_cast<unsigned>(c_iFrameLimit) - 3, 0x7fffffffU, 0xffffffffU}) {
        expectRefusal(numberBytes(iLength) + sPing.substr(4), EOperation::Ping);
    }
    for (const int iKind : {0, 2, 3, 4, 5, 255}) {
        expectRefusal(makeFrame(EKind(iKind), EOperation::Ping, 1, ""), EOperation::Ping);
        expectRefusal(numberBytes(100000) + makeFrame(EKind(iKind), EOperation::Ping, 1, "").substr(4),
                      EOperation::Ping);
    }
    expectRefusal(makeFrame(EKind::Request, EOperation::GetTables, 1, "\3"), EOperation::GetTables);
    expectNothingHappened();
}

TEST_F(Malformed, LargestFrameIsServed)
{
    RawClient oClient(socket());
    const std::string sName(c_iFrameLimit - c_iHeaderSize - 4, 'x');
    EXPECT_EQ(8U, oClient.ask(request::GetSize{sName}));
    const ValueList lText = row({{"Text", std::string(1000000, 'x').c_str()}});
    EXPECT_EQ(1U, oClient.ask(request::InsertRow{"Scratch", lText}));
    EXPECT_EQ(0U, oClient.ask(request::Ping{}));
}

TEST_F(Malformed, ListOfMoreThan1000NamesIsRefused)
{
    NameList lNames;
    while (lNames.size() < 1000) {
        lNames.add("Id");
    }
    EXPECT_EQ(1000U, client().call(request::SelectRow{"Item", 0, lNames})->size());
    lNames.add("Id");
    expectRefusal(frameOf(request::SelectRow{"Item", 0, lNames}), EOperation::SelectRow);
    expectRefusal(frameOf(request::SelectKey{"Item", "Id", "1", lNames}), EOperation::SelectKey);
    expectRefusal(frameOf(request::SelectRows{"Item", lNames}), EOperation::SelectRows);
    expectRefusal(frameOf(request::Subscribe{lNames}), EOperation::Subscribe);
    expectRefusal(frameOf(request::Unsubscribe{lNames}), EOperation::Unsubscribe);
}

TEST_F(Malformed, ConversationBeginsWithOneHelloThatFits)
{
    const auto refuse = [this](const std::string& a_sBytes, EOperation a_eOperation) {
        RawClient oClient(socket(), RawClient::EHello::NotYet);
        expectRefusal(oClient, a_sBytes, a_eOperation, 1);
    };
    for (const auto& sRequest : everyRequest()) {
        refuse(sRequest, systema::wire::readHeader(sRequest)->m_eOperation);
    }
    refuse(frameOf(request::Hello{"e2e", 0x5244474d}), EOperation::Hello);
    refuse(frameOf(request::Hello{"e2e", systema::wire::c_iMagic, 0}), EOperation::Hello);
    refuse(frameOf(request::Hello{"e2e", systema::wire::c_iMagic, 2}), EOperation::Hello);
    refuse(makeFrame(EKind::Request, EOperation(77), 1, ""), EOperation(77));
    RawClient oStranger(socket(), RawClient::EHello::NotYet);
    expectRefusal(oStranger, "GET / HTTP/1.1\r\nHost: gateway\r\n\r\n", EOperation(' '), 0x312f5054);
    expectRefusal(frameOf(request::Hello{"e2e"}), EOperation::Hello);
    expectNothingHappened();
}

TEST_F(Malformed, EarlierRequestsAreAnsweredAndLaterOnesNot)
{
    RawClient oClient(socket());
    oClient.send(frameOf(request::GetSize{"Item"}, 1) +
                 makeFrame(EKind::Request, EOperation::GetSize, 2, "x") +
                 frameOf(request::DeleteAll{"Twins"}, 3));
    EXPECT_THAT(oClient.receiveCodes(2), ElementsAre(0, 5));
    EXPECT_TRUE(oClient.isClosed());
    EXPECT_EQ(3U, client().count("Twins"));
}

TEST_F(Malformed, RequestsInSingleBytesAndOfAShutSenderAreServed)
{
    RawClient oClient(socket());
    for (const char cByte :
         frameOf(request::SelectKey{"Item", "Name", "pear"}) + frameOf(request::Ping{}, 2)) {
        oClient.send({&cByte, 1});
    }
    EXPECT_THAT(oClient.receiveCodes(2), ElementsAre(0, 0));
    const unsigned iBefore = client().info("Requests");
    constexpr unsigned c_iRequests = 600; // whose answers are more than the socket takes at once
    oClient.send(repeat(frameOf(request::GetTables{}), c_iRequests) + frameOf(request::Ping{}).substr(0, 5));
    oClient.finish();
    EXPECT_TRUE(eventually([&] { return client().info("Requests") > iBefore + c_iRequests; }));
    for (unsigned i = 0; i < c_iRequests; ++i) {
        ASSERT_EQ(0U, oClient.receiveCode()) << i;
    }
    EXPECT_TRUE(oClient.isClosed());
}

} // namespace
} // namespace e2e
