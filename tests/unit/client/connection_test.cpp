#include "client/connection.h"

#include "tests/unit/client/fakeserver.h"

#include <gmock/gmock.h>

#include <thread>

namespace systema::client {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

FakeServer::Body rows(const NameList& a_lColumns, const std::vector<std::string>& a_lTexts)
{
    return [=](Writer& a_oWriter) {
        a_oWriter.names(a_lColumns);
        a_oWriter.u32(static_cast<std::uint32_t>(a_lTexts.size()));
        for (const auto& sText : a_lTexts) {
            a_oWriter.textValue(sText);
        }
    };
}

FakeServer::Body number(std::uint32_t a_iNumber)
{
    return [=](Writer& a_oWriter) { a_oWriter.u32(a_iNumber); };
}

class ConnectionTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_oServer.accept(m_oConnection).ok()); }

    FakeServer m_oServer;
    Connection m_oConnection{{"", "test", 200ms}};
};

} // namespace

// ---------------------------------------------------------------------------------------------------------
// Making the connection

TEST(Connect, FailsClearly)
{
    EXPECT_THAT(std::string(Connection({std::string(200, 'x'), "test"}).connect().text()),
                HasSubstr("too long"));

    Connection oConnection({"", "test"});
    FakeServer oOther;
    EXPECT_THAT(std::string(oOther.accept(oConnection, wire::c_iVersion + 1).text()),
                HasSubstr("another version"));
    EXPECT_FALSE(oConnection.isConnected());
}

TEST(Connect, OneConnectionTooManyIsBusyAndNoBreachOfTheProtocol)
{
    Connection oConnection({"", "test"});
    FakeServer oFull;
    oFull.raw(FakeServer::bytes(EKind::Reply, EOperation::Hello, 0, EResultCode::Busy));
    oFull.hangUp();
    const Status oStatus = oFull.attach(oConnection);
    EXPECT_EQ(oStatus.code(), EResultCode::Busy);
    EXPECT_FALSE(oStatus.isConnectionError());
    EXPECT_EQ(oStatus.text(), "too many connections");
    EXPECT_FALSE(oConnection.isConnected());
}

TEST(Connect, AnOlderServerHasNoReasonsAndServesAllTheSame)
{
    for (const std::uint16_t iAnswer : {0, 5}) {
        Connection oConnection({"", "test", 200ms, true});
        FakeServer oServer;
        oServer.reply(iAnswer);
        EXPECT_TRUE(oServer.accept(oConnection).ok());
        oServer.reply(EResultCode::Constraint, iAnswer == 0
                                                   ? [](Writer& a_oWriter) { a_oWriter.text("too high"); }
                                                   : FakeServer::Body());
        const Status oRefused = oConnection.call(request::DeleteAll{"T"});
        EXPECT_EQ(oRefused.code(), EResultCode::Constraint);
        EXPECT_EQ(oRefused.text(), iAnswer == 0 ? "constraint violated: too high" : "constraint violated");
    }
}

// ---------------------------------------------------------------------------------------------------------
// Requests and answers

TEST_F(ConnectionTest, ALargeRequestIsRefusedAndTheConnectionLives)
{
    ValueList lValues;
    lValues.add("Name", Value(EDataType::Text, std::string(wire::c_iFrameLimit, 'x')));
    const Status oStatus = m_oConnection.call(request::InsertRow{"T", lValues});
    EXPECT_EQ(oStatus.code(), EResultCode::Protocol);
    EXPECT_THAT(std::string(oStatus.text()), HasSubstr("larger than 1 MiB"));
    m_oServer.reply();
    EXPECT_TRUE(m_oConnection.call(request::Ping{}).ok());
    EXPECT_THAT(m_oServer.operations(), ElementsAre(EOperation::Ping));
}

// ---------------------------------------------------------------------------------------------------------
// Bulk reads

TEST_F(ConnectionTest, RowsComeInParts)
{
    m_oServer.part(rows({"Name"}, {"a", "b"}));
    m_oServer.event(EOperation::TableChanged, "T");
    m_oServer.part(rows({}, {"c"}));
    m_oServer.reply(0, rows({}, {}));
    std::vector<std::string> lNames;
    ASSERT_TRUE(
        m_oConnection
            .readRows({"T"},
                      [&](const RowView& a_oRow) { lNames.emplace_back(a_oRow.find("Name")->m_sText); })
            .ok());
    EXPECT_THAT(lNames, ElementsAre("a", "b", "c"));
}

TEST_F(ConnectionTest, ACollectedReadIsRepeatedWhenTheTableChanges)
{
    m_oServer.part(rows({"Name"}, {"old"}));
    m_oServer.reply(EResultCode::Busy);
    m_oServer.reply(0, rows({"Name"}, {"new"}));
    auto oRows = m_oConnection.call(request::SelectRows{"T"});
    ASSERT_TRUE(oRows.ok());
    ASSERT_EQ(oRows->size(), 1u);
    EXPECT_EQ((*oRows)[0].find("Name")->m_sText, "new");

    for (int i = 0; i < Connection::c_iBulkAttempts; ++i) {
        m_oServer.reply(EResultCode::Busy);
    }
    EXPECT_EQ(m_oConnection.call(request::SelectRows{"T"}).code(), EResultCode::Busy);
    m_oServer.reply(EResultCode::Busy);
    EXPECT_EQ(m_oConnection.readRows({"T"}, [](const RowView&) {}).code(), EResultCode::Busy);
}

TEST_F(ConnectionTest, AHandlerOfRowsMayCloseTheConnection)
{
    m_oServer.part(rows({"Name"}, {"a"}));
    m_oServer.reply(0, rows({}, {}));
    const Status oStatus = m_oConnection.readRows({"T"}, [&](const RowView&) { m_oConnection.close(); });
    EXPECT_TRUE(oStatus.isConnectionError());
    EXPECT_FALSE(m_oConnection.isConnected());
}

// ---------------------------------------------------------------------------------------------------------
// A server that lies, dies or says nothing

struct Lie
{
    const char* m_pName;
    const char* m_pError;
    std::function<void(FakeServer&)> m_oTell;
};

void PrintTo(const Lie& a_oLie, std::ostream* a_pStream)
{
    *a_pStream << a_oLie.m_pName;
}

class LyingServerTest : public ::testing::TestWithParam<Lie>
{
};

TEST_P(LyingServerTest, BreaksTheConnectionAndNothingElse)
{
    FakeServer oServer;
    Connection oConnection({"", "test", 200ms});
    ASSERT_TRUE(oServer.accept(oConnection).ok());
    GetParam().m_oTell(oServer);
    oServer.hangUp();
    auto oRows = oConnection.call(request::SelectRows{"T"});
    EXPECT_TRUE(oRows.isConnectionError());
    EXPECT_THAT(std::string(oRows.text()), HasSubstr(GetParam().m_pError));
    EXPECT_FALSE(oConnection.isConnected());
    EXPECT_EQ(oConnection.call(request::Ping{}).text(), oRows.text()) << "the reason stays";
}

const Lie c_aLies[] = {
    {"EndOfStream", "closed", [](FakeServer&) {}},
    {"LengthHuge", "impossible length",
     [](FakeServer& a_oServer) { a_oServer.raw(std::string(12, '\xff')); }},
    {"ARequest", "unknown kind",
     [](FakeServer& a_oServer) {
         a_oServer.raw(FakeServer::bytes(EKind::Request, EOperation::SelectRows, 2));
     }},
    {"AnotherId", "not asked",
     [](FakeServer& a_oServer) {
         a_oServer.raw(FakeServer::bytes(EKind::Reply, EOperation::SelectRows, 3));
     }},
    {"PartWithACode", "a part",
     [](FakeServer& a_oServer) {
         a_oServer.raw(FakeServer::bytes(EKind::Part, EOperation::SelectRows, 2, 1));
     }},
    {"ColumnsTwice", "wrong content",
     [](FakeServer& a_oServer) {
         a_oServer.part(rows({"A"}, {"a"}));
         a_oServer.part(rows({"A"}, {"a"}));
     }},
    {"ColumnsAfterRowsWithoutCells", "wrong content",
     [](FakeServer& a_oServer) {
         a_oServer.part(rows({}, {}));
         a_oServer.part(rows({"A"}, {"a"}));
     }},
    {"MoreRowsWithoutCellsThanAFrameHasBytes", "wrong content",
     [](FakeServer& a_oServer) {
         a_oServer.part([](Writer& a_oWriter) {
             a_oWriter.names({});
             a_oWriter.u32(wire::c_iFrameLimit + 1);
         });
     }},
    {"FewerCellsThanTold", "wrong content",
     [](FakeServer& a_oServer) {
         a_oServer.part(rows({"A", "B"}, {"this should be followed by another"}));
     }},
    {"FourBillionRows", "wrong content",
     [](FakeServer& a_oServer) {
         a_oServer.part([](Writer& a_oWriter) {
             a_oWriter.names({"A"});
             a_oWriter.u32(0xffffffff);
             a_oWriter.null();
         });
     }},
    {"AReasonThatIsCutOff", "wrong content",
     [](FakeServer& a_oServer) {
         a_oServer.raw(FakeServer::bytes(EKind::Reply, EOperation::SelectRows, 2, 6,
                                         [](Writer& a_oWriter) { a_oWriter.u32(9); }));
     }},
    {"AnEventWithoutText", "an event",
     [](FakeServer& a_oServer) {
         a_oServer.raw(FakeServer::bytes(EKind::Event, EOperation::TableChanged, 0));
     }},
};

INSTANTIATE_TEST_SUITE_P(Lies, LyingServerTest, ::testing::ValuesIn(c_aLies),
                         [](const auto& a_oInfo) { return std::string(a_oInfo.param.m_pName); });

TEST_F(ConnectionTest, AnAnswerThatDoesNotComeTimesOut)
{
    FakeServer oServer;
    Connection oConnection({"", "test", 10ms});
    ASSERT_TRUE(oServer.accept(oConnection).ok());
    oServer.send("\x10"); // a frame that goes no further does not help
    const auto oStart = std::chrono::steady_clock::now();
    const Status oStatus = oConnection.call(request::Begin{30});
    EXPECT_TRUE(oStatus.isConnectionError());
    EXPECT_EQ(oStatus.text(), "no answer within 40 ms");
    EXPECT_GE(std::chrono::steady_clock::now() - oStart, 40ms)
        << "a begin may wait longer than other requests";
    EXPECT_FALSE(oConnection.isConnected());
}

TEST_F(ConnectionTest, ARowWithoutCellsIsARow)
{
    const auto twoRows = [](Writer& a_oWriter) {
        a_oWriter.names({});
        a_oWriter.u32(2);
    };
    for (int i = 0; i < 2; ++i) {
        m_oServer.part(twoRows);
        m_oServer.reply(0, twoRows);
    }
    const auto oRows = m_oConnection.call(request::SelectRows{"T", {"Nonsense"}});
    EXPECT_TRUE(oRows.ok()) << oRows.text();
    ASSERT_EQ(oRows->size(), 4u);
    EXPECT_TRUE((*oRows)[3].m_lCells.empty());
    int iRows = 0;
    EXPECT_TRUE(m_oConnection.readRows({"T"}, [&](const RowView&) { ++iRows; }).ok());
    EXPECT_EQ(iRows, 4);
}

TEST_F(ConnectionTest, PartsWithoutRowsAreNoProgress)
{
    FakeServer oServer;
    Connection oConnection({"", "test", 10ms});
    ASSERT_TRUE(oServer.accept(oConnection).ok());
    std::thread oChatter([&] {
        while (oServer.send(FakeServer::bytes(EKind::Part, EOperation::SelectRows, 2, 0, rows({}, {})))) {
        }
    });
    EXPECT_EQ(oConnection.call(request::SelectRows{"T"}).text(), "no answer within 10 ms");
    oConnection.close();
    oChatter.join();
}

TEST_F(ConnectionTest, EveryRequestInFlightIsFinishedOnceWhenTheServerDies)
{
    m_oServer.reply();
    m_oServer.hangUp();
    int iAnswered = 0;
    int iFailed = 0;
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(m_oConnection
                        .submit(request::Ping{},
                                [&](const Status& a_oStatus) {
                                    ++(a_oStatus.ok() ? iAnswered : iFailed);
                                    EXPECT_EQ(a_oStatus.ok(), m_oConnection.isConnected());
                                })
                        .ok());
    }
    EXPECT_TRUE(m_oConnection.wait().isConnectionError());
    EXPECT_EQ(iAnswered, 1);
    EXPECT_EQ(iFailed, 4);
    EXPECT_EQ(m_oConnection.unanswered(), 0u);
    EXPECT_TRUE(m_oConnection.processReadable().isConnectionError());
    EXPECT_EQ(m_oConnection.descriptor(), -1);
}

// ---------------------------------------------------------------------------------------------------------
// Many requests

TEST_F(ConnectionTest, SendingMoreThanTheSocketTakesDoesNotLockUpWithAServerThatWaitsToo)
{
    constexpr int c_iRequests = 3000;
    const std::string sLong(1000, 'x');
    for (int i = 0; i < c_iRequests; ++i) {
        m_oServer.reply(0, [&](Writer& a_oWriter) { // blocks when the client does not read
            ColumnList lColumns;
            lColumns.add(sLong, EDataType::Text);
            a_oWriter.columns(lColumns);
        });
    }
    int iAnswers = 0;
    for (int i = 0; i < c_iRequests; ++i) {
        ASSERT_TRUE(
            m_oConnection
                .submit(request::GetSchema{sLong}, [&](const auto& a_oSchema) { iAnswers += a_oSchema.ok(); })
                .ok());
    }
    EXPECT_TRUE(m_oConnection.wait().ok());
    EXPECT_EQ(iAnswers, c_iRequests);
}

TEST_F(ConnectionTest, AHandlerOfAnAnswerMaySubmitButNotBlock)
{
    m_oServer.reply();
    m_oServer.reply();
    bool bSecond = false;
    ASSERT_TRUE(m_oConnection
                    .submit(request::Ping{},
                            [&](const Status&) {
                                EXPECT_EQ(m_oConnection.call(request::Ping{}).code(), EResultCode::Failure);
                                EXPECT_FALSE(m_oConnection.wait().ok());
                                EXPECT_TRUE(
                                    m_oConnection
                                        .submit(request::Ping{},
                                                [&](const Status& a_oStatus) { bSecond = a_oStatus.ok(); })
                                        .ok());
                            })
                    .ok());
    EXPECT_TRUE(m_oConnection.wait().ok());
    EXPECT_TRUE(bSecond);
}

// ---------------------------------------------------------------------------------------------------------
// Changes

TEST_F(ConnectionTest, ChangesAreKeptOnceATableUntilTheyAreTaken)
{
    for (const char* pTable : {"A", "B", "A", "Unknown"}) {
        m_oServer.event(EOperation::TableChanged, pTable);
    }
    m_oServer.reply();
    ASSERT_TRUE(m_oConnection.subscribe({"A", "B"}).ok());
    EXPECT_EQ(**m_oConnection.waitForChange(0ms), "A");
    EXPECT_EQ(**m_oConnection.waitForChange(0ms), "B");
    const auto oNothing = m_oConnection.waitForChange(1ms);
    EXPECT_TRUE(oNothing.ok());
    EXPECT_FALSE(oNothing->has_value());

    m_oServer.event(EOperation::TableChanged, "A");
    m_oServer.hangUp();
    ASSERT_TRUE(m_oConnection.submit(request::Ping{}, [](const Status&) {}).ok());
    EXPECT_EQ(**m_oConnection.waitForChange(100ms), "A") << "told before the end of the connection";
    EXPECT_TRUE(m_oConnection.waitForChange(100ms).isConnectionError());
}

TEST_F(ConnectionTest, AHandlerOfChangesMayBlock)
{
    m_oServer.event(EOperation::TableChanged, "A");
    m_oServer.event(EOperation::TableChanged, "B");
    m_oServer.reply();
    m_oServer.reply(0, number(1));
    m_oServer.reply(0, number(2));
    std::vector<std::string> lSeen;
    m_oConnection.onTableChanged([&](const std::string& a_sTable) {
        lSeen.push_back(a_sTable + "=" + std::to_string(*m_oConnection.call(request::GetSize{a_sTable})));
    });
    ASSERT_TRUE(m_oConnection.subscribe({"A", "B"}).ok());
    EXPECT_THAT(lSeen, ElementsAre("A=1", "B=2"));
}

TEST_F(ConnectionTest, SubscriptionsAreMadeAgainAndToldOnANewConnection)
{
    m_oServer.reply();
    m_oServer.reply(EResultCode::NoTable);
    ASSERT_TRUE(m_oConnection.subscribe({"A", "B"}).ok());
    EXPECT_EQ(m_oConnection.subscribe({"C"}).code(), EResultCode::NoTable);
    const unsigned iGeneration = m_oConnection.generation();

    FakeServer oNew;
    oNew.reply();
    ASSERT_TRUE(oNew.accept(m_oConnection).ok());
    EXPECT_NE(m_oConnection.generation(), iGeneration);
    const auto lRequests = oNew.requests();
    ASSERT_EQ(lRequests.size(), 1u);
    Reader oReader(lRequests[0].m_sBody);
    EXPECT_EQ(oReader.names(), (NameList{"A", "B"}));
    EXPECT_EQ(oReader.u8(), wire::c_iTellAtOnce);
}

} // namespace systema::client
