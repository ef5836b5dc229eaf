#include "cli/commandline.h"
#include "cli/commands.h"

#include "tests/unit/client/fakeserver.h"

#include <gmock/gmock.h>

#include <csignal>
#include <sstream>

namespace systema::cli {

using client::EOperation;
using client::Writer;
using ::testing::ElementsAre;

namespace {

void writeSchema(Writer& a_oWriter)
{
    ColumnList lSchema;
    lSchema.add("Id", EDataType::Integer);
    lSchema.add("Name", EDataType::Text);
    a_oWriter.columns(lSchema);
}

client::FakeServer::Body rows(const std::vector<std::pair<int, std::string>>& a_lRows)
{
    return [=](Writer& a_oWriter) {
        a_oWriter.names({"Id", "Name"});
        a_oWriter.u32(static_cast<std::uint32_t>(a_lRows.size()));
        for (const auto& [iId, sName] : a_lRows) {
            a_oWriter.integer(iId);
            a_oWriter.textValue(sName);
        }
    };
}

client::FakeServer::Body row(int a_iId, const std::string& a_sName)
{
    return [=](Writer& a_oWriter) {
        ValueList lRow;
        lRow.add("Id", Value(EDataType::Integer, a_iId));
        lRow.add("Name", Value(EDataType::Text, a_sName));
        a_oWriter.values(lRow);
    };
}

/// Keeps SIGTERM from every thread made while it lives, so that only who waits for it gets it.
struct BlockedTerm
{
    BlockedTerm()
    {
        sigset_t oTerm;
        sigemptyset(&oTerm);
        sigaddset(&oTerm, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &oTerm, &m_oBefore);
    }
    ~BlockedTerm() { pthread_sigmask(SIG_SETMASK, &m_oBefore, nullptr); }

    sigset_t m_oBefore;
};

class CommandsTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_oServer.accept(m_oConnection).ok()); }

    Outcome run(std::vector<std::string> a_lWords, const std::string& a_sInput = {})
    {
        CommandLine oCommandLine(CommandLine::EGrammar::Program);
        EXPECT_TRUE(oCommandLine.parse(std::move(a_lWords), m_oErrors).ok());
        std::istringstream oInput(a_sInput);
        Printer oPrinter(m_oOutput, oCommandLine.arguments().m_eFormat);
        Session oSession{m_oConnection, oPrinter, oInput, m_oErrors, false};
        return oCommandLine.command()->m_pRun(oSession, oCommandLine.arguments());
    }

    BlockedTerm m_oBlockedTerm;
    client::FakeServer m_oServer;
    client::Connection m_oConnection{{"", "test", std::chrono::seconds(2)}};
    std::ostringstream m_oOutput;
    std::ostringstream m_oErrors;
};

} // namespace

TEST_F(CommandsTest, SchemaOfAnOlderServerHasNamesAndTypes)
{
    m_oServer.reply(0, writeSchema);
    m_oServer.reply(EResultCode::Protocol);
    EXPECT_EQ(run({"schema", "T"}).m_iExit, 0);
    EXPECT_EQ(m_oOutput.str(), "name  type\nId    integer\nName  text\n");
}

TEST_F(CommandsTest, AWriteWithoutAnAnswerMayBeMade)
{
    m_oServer.reply(0, writeSchema);
    m_oServer.hangUp();
    const Outcome oOutcome = run({"add", "T", "Name=x"});
    EXPECT_EQ(oOutcome.m_iExit, c_iExitUnreachable);
    EXPECT_TRUE(oOutcome.m_sText.ends_with("; it may be written or not: read before writing it again"))
        << oOutcome.m_sText;
}

// ---------------------------------------------------------------------------------------------------------
// batch

TEST_F(CommandsTest, BatchOutlivesALostServer)
{
    m_oServer.reply(); // begin
    m_oServer.hangUp();
    EXPECT_EQ(run({"batch"}, "del T --all\ndel T --all\n").m_iExit, c_iExitUnreachable);
}

// ---------------------------------------------------------------------------------------------------------
// export and import

TEST_F(CommandsTest, ExportShowsTheRowWithIdZeroAndKeepsEveryByte)
{
    m_oServer.reply(0, [](Writer& a_oWriter) { a_oWriter.names({"T"}); });
    m_oServer.reply(0, writeSchema);
    m_oServer.reply(EResultCode::Busy); // overtaken by a write
    m_oServer.reply(0, rows({{1, "\xff"}}));
    m_oServer.reply(0, row(0, "default"));
    EXPECT_TRUE(run({"export"}).ok());
    EXPECT_EQ(m_oOutput.str(), "{\n"
                               " \"T\": {\n"
                               "  \"columns\": [{\"name\":\"Id\",\"type\":\"integer\"},"
                               "{\"name\":\"Name\",\"type\":\"text\"}],\n"
                               "  \"rows\": [\n"
                               "   {\"Id\":0,\"Name\":\"default\"},\n"
                               "   {\"Id\":1,\"Name\":{\"hex\":\"ff\"}}\n"
                               "  ]\n"
                               " }\n"
                               "}\n");
    EXPECT_EQ(m_oServer.requests().at(0).m_sBody, "\x01") << "stored tables";
}

TEST_F(CommandsTest, ImportWritesWhatAConstraintRefusedAgainOnceTheOthersAreWritten)
{
    const std::string sFile = R"({"T":{"rows":[{"Id":1,"Name":"child"},{"Id":2,"Name":"parent"}]}})";
    const auto oPlan = [&] {
        m_oServer.reply(); // begin
        m_oServer.reply(0, writeSchema);
        m_oServer.reply(0, rows({{3, "goes"}}));
        m_oServer.reply(EResultCode::NoRow);    // no row with Id 0
        m_oServer.reply(EResultCode::Protocol); // a server too old to describe a table
    };
    oPlan();
    m_oServer.reply(EResultCode::Constraint);
    m_oServer.reply();
    m_oServer.reply();                   // the first row again
    m_oServer.reply(EResultCode::NoRow); // the row to delete went with another
    m_oServer.reply();                   // commit
    const Outcome oOutcome = run({"import"}, sFile);
    EXPECT_TRUE(oOutcome.ok()) << oOutcome.m_sText;
    const auto lOperations = m_oServer.operations();
    EXPECT_THAT(std::vector(lOperations.begin() + 5, lOperations.end()),
                ElementsAre(EOperation::InsertRow, EOperation::InsertRow, EOperation::InsertRow,
                            EOperation::DeleteKey, EOperation::Commit));

    oPlan();
    for (const unsigned iCode : {6, 6, 0, 6, 6, 0}) { // no progress but the deletion, then none; rollback
        m_oServer.reply(static_cast<std::uint16_t>(iCode));
    }
    const Outcome oRefused = run({"import"}, sFile);
    EXPECT_EQ(oRefused.m_iExit, 6);
    EXPECT_EQ(oRefused.m_sText, "table \"T\": rows[0], Id 1: constraint violated");
    EXPECT_EQ(m_oServer.operations().back(), EOperation::Rollback);
}

// ---------------------------------------------------------------------------------------------------------
// watch

TEST_F(CommandsTest, WatchShowsNoRowsAsAddedWhenTheFirstReadWasOvertaken)
{
    m_oServer.event(EOperation::TableChanged, "T");
    m_oServer.reply();                      // subscribe
    m_oServer.reply(EResultCode::Protocol); // an older daemon does not describe tables
    for (int i = 0; i < client::Connection::c_iBulkAttempts; ++i) {
        m_oServer.reply(EResultCode::Busy);
    }
    m_oServer.event(EOperation::TableChanged, "T");
    m_oServer.reply(0, rows({{1, "a"}}));
    m_oServer.reply(0, [](Writer& a_oWriter) {
        rows({{1, "b"}})(a_oWriter);
        ::kill(::getpid(), SIGTERM);
    });
    const Outcome oOutcome = run({"watch", "T", "--rows"});
    EXPECT_TRUE(oOutcome.ok()) << oOutcome.m_sText;
    EXPECT_EQ(m_oOutput.str(), "T\nT\n  ~ Id=1 Name=\"a\"->\"b\"\n");
}

} // namespace systema::cli
