// Bulk reads: the same rows as position by position, in parts, in one state, at the pace of the reader.
#include "tests/e2e/daemontest.h"

#include "client/rows.h"

#include <csignal>

namespace e2e {
namespace {

using systema::client::Rows;
using systema::wire::c_iFrameLimit;
using systema::wire::c_iPartSize;

ValueList valuesOf(const systema::client::RowView& a_oRow)
{
    ValueList lRow;
    for (std::size_t i = 0; i < a_oRow.m_lCells.size(); ++i) {
        lRow.add(a_oRow.m_lColumns[i], a_oRow.m_lCells[i].toValue());
    }
    return lRow;
}

using BulkRead = DaemonTest;

TEST_F(BulkRead, EveryTableGivesTheRowsOfItsPositions)
{
    writeFile(m_oSandbox.path("etc/TZ"), "UTC0\n");
    start();
    const auto oTables = client().call(request::GetTables{});
    for (const auto& sTable : *oTables) {
        const auto oSize = client().call(request::GetSize{sTable});
        const auto oRows = client().call(request::SelectRows{sTable});
        ASSERT_EQ(oSize.code(), oRows.code()) << sTable << ": " << oRows.text();
        if (!oSize.ok()) {
            continue; // a table of something that this machine does not have
        }
        if (sTable != "RegisteredViews") { // which does not count its rows
            EXPECT_EQ(*oSize, oRows->size()) << sTable;
        }
        for (std::uint32_t i = 0; i < oRows->size(); ++i) {
            EXPECT_EQ(*client().call(request::SelectRow{sTable, i}), valuesOf((*oRows)[i])) << sTable << i;
        }
    }
}

TEST_F(BulkRead, RowsOfAViewFromBeforeAndAfterADeletionThatAReferencePassesOn)
{
    m_oSandbox.addLargeTable(5000, 1000);
    m_oSandbox.sql("persistent-network.db",
                   "CREATE TABLE Owner (Id INTEGER PRIMARY KEY); INSERT INTO Owner VALUES (1);"
                   "CREATE TABLE Part (Id INTEGER PRIMARY KEY, OwnerId INTEGER DEFAULT 1 REFERENCES Owner(Id)"
                   " ON DELETE CASCADE); CREATE INDEX PartOwner ON Part(OwnerId);"
                   "WITH RECURSIVE Counter(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM Counter LIMIT 5000)"
                   " INSERT INTO Part (Id) SELECT n FROM Counter");
    m_oSandbox.sql("persistent-common.db",
                   "INSERT INTO ViewNames (Id, Name, Table1, Col1, Table2, Col2) VALUES"
                   " (99, 'Joined', 'Part', 'Id', 'Large', 'Id');"
                   "INSERT INTO ViewColumns (ViewNamesId, ColName, SrcTableIndex, SrcCol) VALUES"
                   " (99, 'Part', 1, 'Id'), (99, 'Text', 2, 'Text')");
    start();
    EXPECT_EQ(5000U, client().rows("Joined", {"Part"}).size());
    RawClient oReader(socket());
    oReader.send(frameOf(request::SelectRows{"Joined"})); // more than the socket takes
    EXPECT_EQ(EKind::Part, oReader.receive().value_or(Frame()).m_eKind);
    EXPECT_EQ(0U, client().code(request::DeleteKey{"Owner", "Id", "1"}));
    EXPECT_EQ(2U, oReader.receiveLast());
    EXPECT_THAT(client().rows("Joined"), IsEmpty());
}

class LargeTable : public DaemonTest
{
protected:
    static constexpr std::size_t c_iRows = 20000;
    static constexpr std::size_t c_iTextSize = 1000;

    void SetUp() override
    {
        m_oSandbox.addLargeTable(c_iRows, c_iTextSize);
        start();
    }

    /// Sends the request for the whole table and takes the first part alone.
    std::optional<Frame> beginReading(RawClient& a_oReader)
    {
        a_oReader.send(frameOf(request::SelectRows{"Large"}));
        return a_oReader.receive();
    }
};

TEST_F(LargeTable, SlowReaderCostsLittleMemoryAndHoldsNobodyUp)
{
    EXPECT_EQ(0U, client().code(request::SelectRows{"Large", {}, 0, 5000})); // what SQLite keeps is there
    const std::size_t iBefore = memory();
    RawClient oReader(socket());
    Rows oRows;
    auto oFrame = beginReading(oReader);
    std::size_t iParts = 0;
    for (; oFrame && oFrame->m_eKind == EKind::Part; oFrame = oReader.receive()) {
        EXPECT_GE(oFrame->m_sBody.size() + systema::wire::c_iHeaderSize, c_iPartSize);
        EXPECT_LT(oFrame->m_sBody.size(), c_iPartSize + 2 * c_iTextSize);
        EXPECT_TRUE(oRows.addBody(oFrame->m_sBody));
        if (++iParts % 50 == 1) {
            EXPECT_EQ(0U, client().code(request::SelectKey{"Large", "Id", "7"}));
            if (!c_bSanitized) {
                EXPECT_LT(memory(), iBefore + 10 * 1024) << iParts; // the table takes 20 MiB
            }
        }
    }
    ASSERT_TRUE(oFrame && oFrame->m_eKind == EKind::Reply);
    EXPECT_EQ(0U, oFrame->m_iCode);
    EXPECT_TRUE(oRows.addBody(oFrame->m_sBody));
    EXPECT_GT(iParts, 100U);
    ASSERT_EQ(c_iRows, oRows.size());
    for (std::size_t i = 0; i < c_iRows; ++i) {
        const systema::wire::Cell* pText = oRows[i].find("Text");
        ASSERT_TRUE(oRows[i].find("Id")->m_iNumber == i + 1 && pText->m_sText.size() == c_iTextSize &&
                    std::stoul(std::string(pText->m_sText.substr(c_iTextSize - 8))) == i + 1)
            << i;
    }
}

TEST_F(LargeTable, OwnRequestsWaitForTheEndOfTheRead)
{
    RawClient oReader(socket());
    oReader.send(frameOf(request::SelectRows{"Large"}, 1) +
                 frameOf(request::UpdateKey{"Large", "Id", "1", row({{"Text", "new"}})}, 2) +
                 frameOf(request::SelectRows{"Large", {}, 0, 1}, 3));
    EXPECT_EQ(0U, oReader.receiveLast());
    EXPECT_EQ(0U, oReader.receiveCode(2));
    EXPECT_EQ(0U, oReader.receiveCode(3));
    EXPECT_EQ("new", client().cell("Large", 1, "Text"));
}

TEST_F(LargeTable, ReaderThatVanishesLeavesNothingBehind)
{
    for (int i = 0; i < 5; ++i) {
        RawClient oReader(socket());
        ASSERT_TRUE(beginReading(oReader));
    }
    EXPECT_TRUE(eventually([this] { return client().info("Clients") == 1; }));
    EXPECT_EQ(0U, client().code(request::DeleteAll{"Large"}));
    EXPECT_EQ(0U, client().count("Large"));
}

TEST_F(LargeTable, OthersHaveTheirTurnBetweenTheParts)
{
    RawClient oReader(socket());
    RawClient oOther(socket());
    daemon().signal(SIGSTOP); // so that it finds both requests at once
    oReader.send(frameOf(request::SelectRows{"Large"}));
    oOther.send(frameOf(request::Ping{}));
    daemon().signal(SIGCONT);
    EXPECT_EQ(0U, oOther.receiveCode()); // while the reader has taken nothing yet
    EXPECT_EQ(0U, oReader.receiveLast());
}

using HugeRow = DaemonTest;

TEST_F(HugeRow, RowThatFitsNoFrameGives1AndALineInTheLog)
{
    m_oSandbox.sql("transient.db", "INSERT INTO Scratch VALUES (1, 'small'), (2, printf('%0" +
                                       std::to_string(c_iFrameLimit) + "d', 0)), (3, 'behind')");
    start();
    RawClient oClient(socket());
    EXPECT_EQ(1U, oClient.ask(request::SelectRow{"Scratch", 1}));
    EXPECT_EQ(1U, oClient.ask(request::SelectKey{"Scratch", "Id", "2"}));
    const std::string sLine =
        "warning ConfigService Request 15 of e2e fails: a row is too large for a frame of 1048576 bytes";
    EXPECT_THAT(logOf([&] { EXPECT_EQ(1U, client().code(request::SelectRows{"Scratch"})); }),
                Contains(sLine));
    EXPECT_EQ(0U, client().code(request::SelectRows{"Scratch", {"Id"}}));
    EXPECT_EQ(0U, client().code(request::SelectRows{"Scratch", {}, 2}));
    EXPECT_EQ("behind", client().cell("Scratch", 3, "Text"));
    EXPECT_EQ(0U, oClient.ask(request::DeleteKey{"Scratch", "Id", "2"}));
    EXPECT_EQ(0U, oClient.ask(request::SelectRows{"Scratch"}));
}

} // namespace
} // namespace e2e
