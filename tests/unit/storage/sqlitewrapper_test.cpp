#include "storage/sqlitewrapper.h"

#include "systema/refusal.h"
#include "tests/row.h"
#include "tests/unit/storage/database.h"
#include "tests/unit/systema/rowtexts.h"
#include "zel/uniquefd.h"

#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <unistd.h>

using namespace systema;
using testing::ElementsAre;
using tests::failure;
using tests::Lines;
using tests::logged;
using tests::row;

namespace {

constexpr const char* c_pPeople =
    "CREATE TABLE People (Id INTEGER PRIMARY KEY, Name TEXT UNIQUE, Age INTEGER UNSIGNED);"
    "INSERT INTO People VALUES (0, 'default', 0), (1, 'Ann', 31), (2, 'Bob', 32)";

class SqliteWrapperTest : public tests::DatabaseTest
{
protected:
    static unsigned size(SqliteWrapper& a_oDatabase, const std::string& a_sTable = "People")
    {
        unsigned iSize = 999;
        EXPECT_EQ(a_oDatabase.getSize(iSize, a_sTable), 0U);
        return iSize;
    }

    static ValueList at(SqliteWrapper& a_oDatabase, unsigned a_iPosition, const NameList& a_lColumns = {"Id"})
    {
        ValueList lRow;
        a_oDatabase.selectRow(lRow, "People", a_iPosition, a_lColumns);
        return lRow;
    }
};

/// Makes every read of an open file fail as long as it lives.
class UnreadableFile
{
public:
    explicit UnreadableFile(const std::string& a_sFile)
    {
        for (const auto& oEntry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code oIgnored;
            if (std::filesystem::read_symlink(oEntry.path(), oIgnored) == a_sFile) {
                m_iFile = std::stoi(oEntry.path().filename());
            }
        }
        m_oKept.reset(::dup(m_iFile));
        const zel::UniqueFd oDirectory(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        EXPECT_GE(::dup2(oDirectory.get(), m_iFile), 0);
    }
    ~UnreadableFile() { ::dup2(m_oKept.get(), m_iFile); }
    UnreadableFile(const UnreadableFile&) = delete;
    UnreadableFile& operator=(const UnreadableFile&) = delete;

private:
    int m_iFile = -1;
    zel::UniqueFd m_oKept;
};

} // namespace

TEST_F(SqliteWrapperTest, aStatementOverItsLimitGivesOneAndOneLine)
{
    sql("CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT); INSERT INTO T VALUES (1, 'a')");
    SqliteWrapper oDatabase = open();
    unsigned iSize = 0;
    ValueList lRow;
    ColumnList lColumns;
    const struct
    {
        std::size_t m_iLimit;
        std::string m_sAround; // the statement around the text that fills it
        std::function<EResultCode(const std::string&)> m_oRun;
    } aCases[] = {
        {4096, "INSERT INTO T ( Text ) VALUES ( '' )",
         [&](const std::string& s) {
             return oDatabase.insertRow("T", row({{"Text", s.c_str()}}));
         }},
        {8192, "UPDATE T SET Text = '' WHERE Id = '1' AND Id != 0",
         [&](const std::string& s) {
             return oDatabase.updateKey("T", "Id", "1", row({{"Text", s.c_str()}}));
         }},
        {4096, "SELECT Id FROM T WHERE Text = '' AND Id != 0",
         [&](const std::string& s) { return oDatabase.selectKey(lRow, "T", "Text", s, {"Id"}); }},
        {4096, "SELECT * FROM T WHERE Text = '' AND Id != 0",
         [&](const std::string& s) { return oDatabase.deleteKey("T", "Text", s); }},
        {4096, "SELECT * FROM T WHERE Text = '' AND Id != 0",
         [&](const std::string& s) {
             return oDatabase.updateKey("T", "Text", s, row({{"Id", 1}}));
         }},
        // Table names alone fill the statements on whole tables.
        {512, "SELECT * FROM  LIMIT 0,1",
         [&](const std::string& s) { return oDatabase.getSchema(lColumns, s); }},
        {512, "SELECT COUNT(*) FROM ", [&](const std::string& s) { return oDatabase.getSize(iSize, s); }},
        {512, "DELETE FROM  WHERE Id != 0", [&](const std::string& s) { return oDatabase.deleteAll(s); }},
    };
    const auto limitLine = [](std::size_t a_iLimit) {
        return "SQL string exceeds limit of " + std::to_string(a_iLimit) +
               " chars, failed with error: 1 (general failure)";
    };
    for (const auto& [iLimit, sAround, oRun] : aCases) {
        const std::string sFits(iLimit - sAround.size(), 'x');
        logged([&] { EXPECT_THAT(oRun(sFits), testing::AnyOf(0U, 8U, 10U)) << sAround; });
        const Lines lLines = logged([&] { EXPECT_EQ(oRun(sFits + "x"), 1U) << sAround; });
        EXPECT_THAT(lLines, testing::Contains(limitLine(iLimit))) << sAround;
        EXPECT_THAT(takeRefusal(EResultCode::Failure), testing::HasSubstr(std::to_string(iLimit) + " bytes"))
            << "the client learns the limit";
        EXPECT_TRUE(lLines.size() == 1 || iLimit == 512) << "a long table name is no table either";
    }
    // A doubled quote counts twice.
    const std::string sQuotes((4096 - aCases[0].m_sAround.size()) / 2 + 1, '\'');
    EXPECT_THAT(logged([&] { aCases[0].m_oRun(sQuotes); }), ElementsAre(limitLine(4096)));
}

TEST_F(SqliteWrapperTest, tablesAndColumnsWithTheNameOfAKeywordAreReadAndWritten)
{
    sql("CREATE TABLE \"Order\" (Id INTEGER PRIMARY KEY, \"Group\" TEXT, \"Index\" INT);"
        "INSERT INTO \"Order\" VALUES (1, 'a', 1), (2, 'b', 2)");
    SqliteWrapper oDatabase = open();
    ColumnList lColumns;
    ValueList lRow;
    unsigned iSize = 0;
    int iId = 0;
    std::unique_ptr<IRowCursor> pRows;
    EXPECT_EQ(logged([&] {
                  EXPECT_EQ(oDatabase.getSchema(lColumns, "Order"), 0U);
                  EXPECT_EQ(oDatabase.insertKey(iId, "Order", row({{"Group", "c"}, {"Index", 3}})), 0U);
                  EXPECT_EQ(oDatabase.updateKey("Order", "Group", "a", row({{"Index", 7}})), 0U);
                  EXPECT_EQ(oDatabase.updateRow("Order", 1, row({{"Group", "d"}})), 0U);
                  EXPECT_EQ(oDatabase.deleteKey("Order", "Index", "3"), 0U);
                  EXPECT_EQ(oDatabase.openRows(pRows, "Order", 0, 9, {"Index"}), 0U);
                  EXPECT_EQ(oDatabase.getSize(iSize, "Order"), 0U);
                  EXPECT_EQ(oDatabase.selectKey(lRow, "Order", "Index", "7", {"Group"}), 0U);
              }),
              Lines());
    EXPECT_EQ(lColumns.size(), 3U);
    EXPECT_EQ(iId, 3);
    EXPECT_EQ(iSize, 2U);
    EXPECT_EQ(lRow, row({{"Group", "a"}}));
    pRows.reset();
    logged([&] { EXPECT_EQ(oDatabase.selectRow(lRow, "Order", 0, {"From"}), 8U) << "and is no text"; });
    EXPECT_EQ(oDatabase.deleteAll("Order"), 0U);
}

TEST_F(SqliteWrapperTest, anInsertThatNumbersNoRowDoesNotReportTheNumberOfAnEarlierOne)
{
    sql("CREATE TABLE T (Id INTEGER PRIMARY KEY, Word TEXT UNIQUE ON CONFLICT IGNORE);"
        "CREATE TABLE Bare (Id INTEGER PRIMARY KEY, Word TEXT) WITHOUT ROWID");
    SqliteWrapper oDatabase = open();
    const struct
    {
        const char* m_pTable;
        int m_iGiven;
        int m_iReported;
    } aInserts[] = {{"T", 5, 5}, {"Bare", 5, 0}, {"T", 6, 0}};
    for (const auto& [pTable, iGiven, iReported] : aInserts) {
        int iId = -1;
        EXPECT_EQ(oDatabase.insertKey(iId, pTable, row({{"Id", iGiven}, {"Word", "same"}})), 0U);
        EXPECT_EQ(iId, iReported) << pTable;
    }
}

TEST_F(SqliteWrapperTest, aTextCellIsReadUpToANulByte)
{
    sql("CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT); INSERT INTO T VALUES (1, CAST(x'610062' AS "
        "TEXT))");
    SqliteWrapper oDatabase = open();
    ValueList lRow;
    EXPECT_EQ(oDatabase.selectRow(lRow, "T", 0, {"Text"}), 0U);
    EXPECT_EQ(lRow, row({{"Text", "a"}}));
}

TEST_F(SqliteWrapperTest, whatIsKnownOfATableFollowsEveryWriteAndRollback)
{
    sql("CREATE TABLE People (Id INTEGER PRIMARY KEY, Name TEXT); INSERT INTO People VALUES (1, 'a'), (2, "
        "'b')");
    SqliteWrapper oDatabase = open();
    EXPECT_EQ(oDatabase.startTransaction(), 0U);
    for (const char* pAlias : {"Id", "id", "ROWID", "oid", "_rowid_"}) {
        EXPECT_EQ(oDatabase.insertRow("People", row({{pAlias, 0}})), EResultCode::Constraint) << pAlias;
    }
    EXPECT_EQ(oDatabase.exec("UPDATE People SET Id = 0 WHERE Id = 1"), 0U);
    EXPECT_TRUE(oDatabase.hasZeroIdRow("People"));
    EXPECT_EQ(oDatabase.rollbackTransaction(), 0U);
    EXPECT_FALSE(oDatabase.hasZeroIdRow("People"));
    EXPECT_EQ(at(oDatabase, 0), row({{"Id", 1}}));

    oDatabase.close();
    sql("INSERT INTO People VALUES (0, 'z'); CREATE TABLE Later (Id INTEGER)");
    oDatabase.open();
    EXPECT_TRUE(oDatabase.hasZeroIdRow("People"));
    EXPECT_TRUE(oDatabase.hasTable("Later"));
    oDatabase.close();
    sql("DROP TABLE Later");
    oDatabase.open();
    EXPECT_FALSE(oDatabase.hasTable("Later"));
}

TEST_F(SqliteWrapperTest, theHiddenRowIsHiddenByItsIdNotByItsPlace)
{
    const char* pRows = "VALUES (0, 'hidden'), (-1, 'a'), (5, 'b'), (-7, 'c')";
    sql(std::string("CREATE TABLE Key (Id INTEGER PRIMARY KEY, Text TEXT); INSERT INTO Key ") + pRows +
        "; CREATE INDEX KeyText ON Key(Text, Id); CREATE TABLE Plain (Id INT, Text TEXT); INSERT INTO "
        "Plain " +
        pRows + ", (NULL, 'd'), (0, 'twin');" +
        "CREATE TABLE Apart (Text TEXT, Id INT PRIMARY KEY) WITHOUT ROWID; INSERT INTO Apart (Id, Text) " +
        pRows + "; CREATE VIEW Seen AS SELECT Id, Text FROM Key;");
    SqliteWrapper oDatabase = open();
    const std::pair<const char*, Lines> aCases[] = {{"Key", {"'c' ", "'a' ", "'b' "}},
                                                    {"Seen", {"'c' ", "'a' ", "'b' "}},
                                                    {"Plain", {"'a' ", "'b' ", "'c' ", "'d' "}},
                                                    {"Apart", {"'c' ", "'a' ", "'b' "}}};
    for (const auto& [sTable, lTexts] : aCases) {
        EXPECT_EQ(size(oDatabase, sTable), lTexts.size()) << sTable;
        std::unique_ptr<IRowCursor> pCursor;
        RowTexts oSink;
        EXPECT_EQ(oDatabase.openRows(pCursor, sTable, 0, 100, {"Text"}), 0U);
        EXPECT_EQ(pCursor->fetch(oSink), 10U);
        EXPECT_EQ(oSink.m_lRows, lTexts) << sTable;
        ValueList lRow;
        EXPECT_EQ(oDatabase.selectRow(lRow, sTable, 1, {"Text"}), 0U);
        EXPECT_EQ(lRow.getValue("Text").getText(), lTexts[1].substr(1, 1)) << sTable;
    }
    for (const char* pTable : {"Key", "Plain", "Apart"}) {
        for (unsigned i = size(oDatabase, pTable); i > 0; --i) {
            EXPECT_EQ(oDatabase.deleteRow(pTable, 0), 0U);
        }
    }
    oDatabase.close();
    EXPECT_EQ(sql("SELECT Text FROM Key; SELECT Text FROM Plain; SELECT Text FROM Apart"),
              "hidden|hidden|twin|hidden|");
}

TEST_F(SqliteWrapperTest, noUpdateMakesARowTheHiddenOne)
{
    sql("CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT); INSERT INTO T VALUES (1, 'a');"
        "CREATE TABLE Trap (Id INTEGER PRIMARY KEY, Oid TEXT)");
    SqliteWrapper oDatabase = open();
    logged([&] {
        for (const char* pName : {"Id", "ID", "rowid", "oid", "_rowid_"}) {
            for (const Value& oZero : {Value(2, 0), Value(3, 0), Value(4, " 0.0"), Value(4, "1e-400")}) {
                ValueList lZero;
                lZero.add(pName, oZero);
                EXPECT_EQ(oDatabase.updateRow("T", 0, lZero), 6U) << pName;
                EXPECT_EQ(oDatabase.updateKey("T", "Text", "a", lZero), 6U) << pName;
                EXPECT_EQ(oDatabase.insertRow("T", lZero), 6U) << pName;
            }
        }
        EXPECT_EQ(oDatabase.updateRow("T", 0, row({{"Id", "no number"}})), 7U);
    });
    // An alias is one only where no column has its name.
    EXPECT_EQ(oDatabase.insertRow("Trap", row({{"Oid", ".1.3.6"}})), 0U);
    EXPECT_EQ(oDatabase.updateKey("Trap", "Id", "1", row({{"oid", "0"}})), 0U);
    logged([&] { EXPECT_EQ(oDatabase.insertRow("Trap", row({{"rowid", 0}})), 6U); });
}

TEST_F(SqliteWrapperTest, aRowIsChangedByPositionWhateverItsCellsHold)
{
    // Read as values, the rows of each pair are the same.
    const std::string sRows =
        "(1, 0.5, NULL, 1), (1, NULL, NULL, 1), (2, NULL, x'61', 1), (2, NULL, x'62', 1),"
        "(3, 1, 1, 4294967297), (3, 1, 1, 1), (4, 1, 'a', CAST(x'610062' AS TEXT)),"
        "(4, 1, 'a', 'a'), (5, 1, 1, 'twin'), (5, 1, 1, 'twin')";
    sql("CREATE TABLE T (Id INT, Ratio REAL, Data, Number INT, Done TEXT DEFAULT '')");
    for (unsigned iPosition = 0; iPosition < 9; ++iPosition) {
        sql("DELETE FROM T; INSERT INTO T (Id, Ratio, Data, Number) VALUES " + sRows);
        SqliteWrapper oDatabase = open();
        EXPECT_EQ(oDatabase.updateRow("T", iPosition, row({{"Done", "x"}})), 0U);
        EXPECT_EQ(oDatabase.deleteRow("T", iPosition), 0U);
        oDatabase.close();
        const std::string sLeft = iPosition < 8 ? "9|" : "8|"; // twins go together
        EXPECT_EQ(sql("SELECT COUNT(*) FROM T WHERE Done = ''"), sLeft) << iPosition;
        EXPECT_EQ(sql("SELECT COUNT(*) FROM T WHERE rowid = " + std::to_string(iPosition + 1)), "0|");
    }
}

TEST_F(SqliteWrapperTest, aSharedDatabaseShowsWhatOthersDoAtOnce)
{
    sql(c_pPeople);
    SqliteWrapper oDatabase = open(false);
    EXPECT_FALSE(oDatabase.hasTable("New"));
    EXPECT_EQ(size(oDatabase), 2U);
    EXPECT_EQ(at(oDatabase, 0, {}).size(), 3U);
    sql("CREATE TABLE New (Id INTEGER); DELETE FROM People WHERE Id = 0; ALTER TABLE People ADD COLUMN Extra "
        "TEXT");
    EXPECT_TRUE(oDatabase.hasTable("New"));
    EXPECT_EQ(size(oDatabase), 2U);
    EXPECT_FALSE(oDatabase.hasZeroIdRow("People"));
    EXPECT_EQ(at(oDatabase, 0, {}).size(), 4U);
    EXPECT_EQ(oDatabase.updateKey("People", "Id", "1", row({{"Extra", "e"}})), 0U);
    sql("DROP TABLE New; ALTER TABLE People DROP COLUMN Extra");
    EXPECT_FALSE(oDatabase.hasTable("New"));
    EXPECT_THAT(logged([&] {
                    EXPECT_EQ(oDatabase.updateKey("People", "Id", "1", row({{"Extra", "e"}})), 8U);
                }),
                ElementsAre("Error 1 (no such column: Extra)", failure("exec", 8)));
}

TEST_F(SqliteWrapperTest, aReadThatFailsIsNotRemembered)
{
    sql(c_pPeople);
    SqliteWrapper oDatabase = open();
    EXPECT_TRUE(oDatabase.hasTable("People"));
    {
        const UnreadableFile oFault(file());
        unsigned iSize = 7;
        EXPECT_EQ(oDatabase.getSize(iSize, "People"), 0U); // a count that fails counts nothing
        EXPECT_EQ(iSize, 0U);
        EXPECT_FALSE(oDatabase.hasZeroIdRow("People"));
        EXPECT_EQ(oDatabase.updateKey("People", "Id", "1", row({{"Age", 1}})), 10U);
        std::unique_ptr<IRowCursor> pCursor;
        EXPECT_EQ(oDatabase.openRows(pCursor, "People", 0, 1, {}), 0U);
        RowTexts oSink;
        EXPECT_EQ(logged([&] { EXPECT_EQ(pCursor->fetch(oSink), 1U); }),
                  (Lines{"Error 10 (disk I/O error)", failure("selectRow", 1)}));
        EXPECT_EQ(pCursor->fetch(oSink), 1U);
    }
    EXPECT_TRUE(oDatabase.hasZeroIdRow("People"));
    EXPECT_EQ(size(oDatabase), 2U);
}
