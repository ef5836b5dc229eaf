#include "storage/sqliteconnection.h"

#include "tests/unit/storage/database.h"
#include "zel/assert.h"

using namespace systema;
using testing::ElementsAre;
using testing::HasSubstr;
using tests::failure;
using tests::logged;

namespace {

class SqliteConnectionTest : public tests::DatabaseTest
{
};

} // namespace

TEST_F(SqliteConnectionTest, aFileThatCannotBeOpenedIsAnAssertion)
{
    try {
        SqliteConnection oConnection(c_pName, m_oDir.file("missing"), true);
        FAIL();
    } catch (const zel::error::AssertionError& oError) {
        EXPECT_THAT(oError.what(), testing::StartsWith("ret == 0"));
    }
}

TEST_F(SqliteConnectionTest, aNullTextMessageOrStatementIsAnAssertion)
{
    const SqliteWrapper oDatabase = open();
    sqlite3_stmt* pStatement = nullptr;
    EXPECT_THROW(oDatabase.query(nullptr, &pStatement), zel::error::AssertionError);
    EXPECT_THROW(oDatabase.query("SELECT 1", nullptr), zel::error::AssertionError);
    EXPECT_THROW(oDatabase.getResultCode(1, nullptr), zel::error::AssertionError);
}

TEST_F(SqliteConnectionTest, mapsTheCodesOfSqlite)
{
    const std::pair<int, unsigned> aCases[] = {{1, 8},  {5, 2}, {6, 3},   {8, 4},   {15, 5}, {19, 6},
                                               {20, 7}, {2, 1}, {11, 1},  {21, 1},  {26, 1}, {99, 1},
                                               {-1, 1}, {0, 0}, {100, 0}, {101, 0}, {526, 0}};
    const SqliteWrapper oDatabase = open();
    for (const auto& [iSqlite, iCode] : aCases) {
        EResultCode eCode;
        const auto lLines = logged([&, i = iSqlite] { eCode = oDatabase.getResultCode(i, "getSize"); });
        EXPECT_EQ(eCode, iCode) << iSqlite;
        if (iCode == 0) {
            EXPECT_TRUE(lLines.empty()) << iSqlite;
        } else {
            EXPECT_THAT(lLines, ElementsAre("Error " + std::to_string(iSqlite) + " (not an error)",
                                            failure("getSize", iCode)));
        }
    }
}

TEST_F(SqliteConnectionTest, anExclusiveConnectionKeepsTheFileFromItsFirstReadOn)
{
    sql("CREATE TABLE T (Id INTEGER)");
    SqliteWrapper oDatabase = open();
    EXPECT_TRUE(oDatabase.hasTable("T"));
    EXPECT_THAT(sql("INSERT INTO T VALUES (1)"), HasSubstr("locked"));
    oDatabase.close();
    EXPECT_EQ(sql("INSERT INTO T VALUES (1)"), "");
}

TEST_F(SqliteConnectionTest, theOtherKindSharesTheFile)
{
    sql("CREATE TABLE T (Id INTEGER)");
    SqliteWrapper oDatabase = open(false);
    EXPECT_TRUE(oDatabase.hasTable("T"));
    EXPECT_EQ(sql("INSERT INTO T VALUES (1)"), "");
}

TEST_F(SqliteConnectionTest, foreignKeysHold)
{
    sql("CREATE TABLE P (Id INTEGER PRIMARY KEY); CREATE TABLE C (Id INTEGER, P REFERENCES P(Id))");
    for (const bool bExclusive : {true, false}) {
        const SqliteWrapper oDatabase = open(bExclusive);
        EResultCode eCode;
        const auto lLines = logged([&] { eCode = oDatabase.exec("INSERT INTO C VALUES (1, 7)"); });
        EXPECT_EQ(eCode, 6U);
        EXPECT_THAT(lLines, ElementsAre("Error 19 (FOREIGN KEY constraint failed)", failure("exec", 6)));
    }
}

TEST_F(SqliteConnectionTest, openAndCloseAreIdempotentAndCloseEndsWhatIsOpen)
{
    sql("CREATE TABLE T (Id INTEGER)");
    SqliteWrapper oDatabase = open();
    oDatabase.open();
    EXPECT_EQ(oDatabase.startTransaction(), 0U);
    EXPECT_EQ(oDatabase.exec("INSERT INTO T VALUES (1)"), 0U);
    sqlite3_stmt* pForgotten = nullptr;
    EXPECT_EQ(oDatabase.query("SELECT 1", &pForgotten), SQLITE_OK);
    oDatabase.close();
    oDatabase.close();
    EXPECT_FALSE(oDatabase.isOpen());
    EXPECT_EQ(sql("SELECT COUNT(*) FROM T"), "0|"); // rolled back, and the lock is gone
    oDatabase.open();
    EXPECT_TRUE(oDatabase.isOpen());
    EXPECT_EQ(oDatabase.getName(), c_pName);
}

TEST_F(SqliteConnectionTest, aClosedConnectionAnswersWithCodes)
{
    SqliteWrapper oDatabase = open();
    oDatabase.close();
    sqlite3_stmt* pStatement = nullptr;
    EXPECT_EQ(oDatabase.query("SELECT 1", &pStatement), SQLITE_MISUSE);
    EResultCode eCode;
    const auto lLines = logged([&] { eCode = oDatabase.startTransaction(); });
    EXPECT_EQ(eCode, 1U);
    EXPECT_THAT(lLines, ElementsAre("Error 21 (bad parameter or other API misuse)", failure("exec", 1)));
}

TEST_F(SqliteConnectionTest, transactionsAreReal)
{
    sql("CREATE TABLE T (Id INTEGER)");
    SqliteWrapper oDatabase = open();
    EXPECT_EQ(oDatabase.startTransaction(), 0U);
    oDatabase.exec("INSERT INTO T VALUES (1)");
    EXPECT_EQ(oDatabase.rollbackTransaction(), 0U);
    EXPECT_EQ(oDatabase.startTransaction(), 0U);
    oDatabase.exec("INSERT INTO T VALUES (2)");
    EXPECT_EQ(oDatabase.commitTransaction(), 0U);
    EResultCode eCode;
    const auto lLines = logged([&] { eCode = oDatabase.commitTransaction(); });
    EXPECT_EQ(eCode, 8U);
    EXPECT_THAT(lLines,
                ElementsAre("Error 1 (cannot commit - no transaction is active)", failure("exec", 8)));
    oDatabase.close();
    EXPECT_EQ(sql("SELECT Id FROM T"), "2|");
}

TEST_F(SqliteConnectionTest, selectSqlReadsTheFirstRow)
{
    sql("CREATE TABLE T (Id INTEGER, N UNSIGNED, X TEXT, B BLOB);"
        "INSERT INTO T VALUES (1, 5000000000, 'a', 'b'), (2, NULL, 7, 1)");
    const SqliteWrapper oDatabase = open();
    ValueList lRow;
    EXPECT_EQ(oDatabase.selectSql(lRow, "SELECT *, 1 + 1 AS Sum FROM T"), 0U);
    ValueList lExpected;
    lExpected.add("Id", Value(2, 1));
    lExpected.add("N", Value(3, 705032704));
    lExpected.add("X", Value(4, std::string("a")));
    lExpected.add("B", Value(1));
    lExpected.add("Sum", Value(1)); // an expression has no declared type
    EXPECT_EQ(lRow, lExpected);
    EXPECT_TRUE(
        logged([&] { EXPECT_EQ(oDatabase.selectSql(lRow, "SELECT Id FROM T WHERE Id = 3"), 10U); }).empty());
    EResultCode eCode;
    const auto lLines = logged([&] { eCode = oDatabase.selectSql(lRow, "SELECT no FROM T"); });
    EXPECT_EQ(eCode, 8U);
    EXPECT_THAT(lLines, ElementsAre("Error 1 (no such column: no)", failure("selectSql", 8)));
}
