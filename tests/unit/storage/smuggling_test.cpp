// Whatever a client puts into names, keys and values, no operation runs anything but its own statement.
#include "storage/sqlitewrapper.h"

#include "tests/row.h"
#include "tests/unit/storage/database.h"

#include <filesystem>

using namespace systema;
using testing::ElementsAre;
using testing::HasSubstr;
using tests::failure;
using tests::Lines;
using tests::logged;
using tests::row;

namespace {

/// What breaks out of a statement when it is pasted into one.
constexpr const char* c_aPieces[] = {
    "T; DROP TABLE T; --",
    "Id = 1; DELETE FROM T; --",
    "Id = 1 OR 1",
    "(SELECT Secret FROM Hidden)",
    "Secret FROM Hidden --",
    "load_extension('evil')",
    "randomblob(1000000000)",
    "writefile('evil', 'x')",
    "1 UNION SELECT * FROM Hidden",
    "Id -- ",
    "Id /*",
    "*/ Id",
    "T, Hidden",
    "T JOIN Hidden",
    "main.T",
    "\"T\"",
    "`T`",
    "[T]",
    "Id AS Secret",
    "Id COLLATE NOCASE",
    "Id\n",
    "count(*)",
    "?1",
    ":x",
    "",
};

constexpr const char* c_aKeys[] = {
    "1' OR '1'='1",
    "1'; DROP TABLE T; --",
    "1'; ATTACH 'evil.db' AS e; --",
    "' UNION SELECT Secret FROM Hidden --",
    "1''",
    "'",
    "x' AND randomblob(1000000000) AND 'x",
};

class SmugglingTest : public tests::DatabaseTest
{
protected:
    SmugglingTest()
    {
        sql("CREATE TABLE T (Id INTEGER PRIMARY KEY, Name TEXT); INSERT INTO T VALUES (0, 'z'), (1, 'a'), "
            "(2, 'b');"
            "CREATE TABLE Hidden (Id INTEGER PRIMARY KEY, Secret TEXT); INSERT INTO Hidden VALUES (1, "
            "'secret')");
        m_sBefore = readFile(file());
    }

    /// The action is refused as the syntax error that it would be, logged under the name.
    template<class Action>
    static void expectRefused(const std::string& a_sPiece, const char* a_pName, Action a_oAction)
    {
        EResultCode eCode;
        const Lines lLines = logged([&] { eCode = a_oAction(); });
        EXPECT_EQ(eCode, 8U) << a_sPiece;
        ASSERT_EQ(lLines.size(), 2U) << a_sPiece;
        EXPECT_THAT(lLines[0], testing::StartsWith("Error 1 (near \"")) << a_sPiece;
        EXPECT_EQ(lLines[1], failure(a_pName, 8)) << a_sPiece;
    }

    void expectUntouched() const
    {
        EXPECT_EQ(readFile(file()), m_sBefore);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_oDir.path()), {}), 1);
    }

    std::string m_sBefore;
};

} // namespace

TEST_F(SmugglingTest, columnNames)
{
    {
        SqliteWrapper oDatabase = open();
        for (const char* pPiece : c_aPieces) {
            ValueList lRow;
            std::unique_ptr<IRowCursor> pCursor;
            const ValueList lValues = row({{"Name", "x"}, {pPiece, "x"}});
            expectRefused(pPiece, "selectSql", [&] { return oDatabase.selectRow(lRow, "T", 0, {pPiece}); });
            expectRefused(pPiece, "selectSql", [&] {
                return oDatabase.selectRow(lRow, "T", 0, {"Id", pPiece});
            });
            expectRefused(pPiece, "selectSql",
                          [&] { return oDatabase.openRows(pCursor, "T", 0, 1, {pPiece}); });
            expectRefused(pPiece, "selectSql",
                          [&] { return oDatabase.selectKey(lRow, "T", "Id", "1", {pPiece}); });
            expectRefused(pPiece, "selectSql",
                          [&] { return oDatabase.selectKey(lRow, "T", pPiece, "1", {}); });
            expectRefused(pPiece, "selectSql",
                          [&] { return oDatabase.updateKey("T", pPiece, "1", lValues); });
            expectRefused(pPiece, "selectSql", [&] { return oDatabase.deleteKey("T", pPiece, "1"); });
            expectRefused(pPiece, "exec", [&] { return oDatabase.updateKey("T", "Id", "1", lValues); });
            expectRefused(pPiece, "exec", [&] { return oDatabase.updateRow("T", 0, lValues); });
            expectRefused(pPiece, "exec", [&] { return oDatabase.insertRow("T", lValues); });
            EXPECT_TRUE(lRow.empty());
        }
    }
    expectUntouched();
}

TEST_F(SmugglingTest, keyValues)
{
    {
        SqliteWrapper oDatabase = open();
        for (const char* pKey : c_aKeys) {
            ValueList lRow;
            expectRefused(pKey, "selectSql", [&] { return oDatabase.selectKey(lRow, "T", "Id", pKey, {}); });
            expectRefused(pKey, "selectSql", [&] {
                return oDatabase.updateKey("T", "Id", pKey, row({{"Name", "x"}}));
            });
            expectRefused(pKey, "selectSql", [&] { return oDatabase.deleteKey("T", "Id", pKey); });
            EXPECT_TRUE(lRow.empty());
        }
        for (const char* pKey :
             {"1; DROP TABLE T", "1 OR 1", "1 --", "\" OR \"\" = \"", "?1"}) { // one text, no more
            ValueList lRow;
            EXPECT_EQ(oDatabase.selectKey(lRow, "T", "Id", pKey, {}), 10U) << pKey;
            EXPECT_EQ(oDatabase.deleteKey("T", "Name", pKey), 10U) << pKey;
        }
    }
    expectUntouched();
}

TEST_F(SmugglingTest, tableNames)
{
    {
        SqliteWrapper oDatabase = open();
        unsigned iSize = 0;
        for (const char* pPiece : c_aPieces) {
            if (std::string(pPiece).find('\'') == std::string::npos) {
                EXPECT_THAT(logged([&] { EXPECT_EQ(oDatabase.getSize(iSize, pPiece), 8U); }),
                            ElementsAre(failure("getSize", 8)));
            }
        }
        for (const char* pTable : {"T' OR '1'='1", "x' UNION SELECT 1 --", "T'", "T'; DROP TABLE T; --"}) {
            ValueList lRow;
            EXPECT_THAT(logged([&] { EXPECT_EQ(oDatabase.selectKey(lRow, pTable, "Id", "1", {}), 8U); }),
                        ElementsAre(HasSubstr("Error 1 (near"), failure("hasTable", 8),
                                    HasSubstr("Error 1 (near"), failure("selectSql", 8)));
            EXPECT_EQ(logged([&] { EXPECT_EQ(oDatabase.deleteAll(pTable), 8U); }).size(), 4U);
        }
    }
    expectUntouched();
    // A table that does exist under such a name cannot be reached either.
    sql("CREATE TABLE \"T WHERE Id = 1\" (Id INTEGER)");
    SqliteWrapper oDatabase = open();
    EXPECT_TRUE(oDatabase.hasTable("T WHERE Id = 1"));
    expectRefused("T WHERE Id = 1", "exec", [&] { return oDatabase.deleteAll("T WHERE Id = 1"); });
}

TEST_F(SmugglingTest, valuesAreData)
{
    SqliteWrapper oDatabase = open();
    for (const char* pText : c_aKeys) {
        EXPECT_EQ(oDatabase.updateKey("T", "Id", "1", row({{"Name", pText}})), 0U);
        ValueList lRow;
        EXPECT_EQ(oDatabase.selectKey(lRow, "T", "Id", "1", {"Name"}), 0U);
        EXPECT_EQ(lRow, row({{"Name", pText}}));
        EXPECT_EQ(oDatabase.updateRow("T", 0, row({{"Name", "plain"}})), 0U); // found again by what it held
    }
    oDatabase.close();
    EXPECT_EQ(sql("SELECT * FROM T"), "0|z|1|plain|2|b|");
}

TEST_F(SmugglingTest, behindTheNamesSqliteItselfRefusesTheRest)
{
    {
        const SqliteWrapper oDatabase = open();
        for (const char* pText : {"DROP TABLE T",
                                  "CREATE TABLE X (Id)",
                                  "CREATE TEMP TABLE X (Id)",
                                  "ALTER TABLE T RENAME TO U",
                                  "CREATE TRIGGER X AFTER UPDATE ON T BEGIN SELECT 1; END",
                                  "CREATE VIEW X AS SELECT 1",
                                  "CREATE INDEX X ON T (Name)",
                                  "ATTACH 'evil.db' AS Evil",
                                  "PRAGMA writable_schema = ON",
                                  "PRAGMA journal_mode = OFF",
                                  "PRAGMA foreign_keys = OFF",
                                  "VACUUM",
                                  "VACUUM INTO 'evil.db'",
                                  "ANALYZE",
                                  "SAVEPOINT S",
                                  "DELETE FROM sqlite_master",
                                  "UPDATE sqlite_master SET sql = ''",
                                  "INSERT INTO SQLite_Master VALUES (1, 2, 3, 4, 5)",
                                  "SELECT load_extension('evil')",
                                  "SELECT randomblob(10)",
                                  "UPDATE T SET Name = hex(Name)",
                                  "DELETE FROM T WHERE abs(Id) > 0",
                                  "SELECT CURRENT_TIMESTAMP",
                                  "CREATE VIRTUAL TABLE X USING fts4(a)"}) {
            const Lines lLines = logged([&] { EXPECT_NE(oDatabase.exec(pText), 0U) << pText; });
            ASSERT_EQ(lLines.size(), 2U) << pText;
            EXPECT_THAT(lLines[0],
                        testing::AnyOf(HasSubstr("not authorized"), HasSubstr("authorization denied"),
                                       HasSubstr("authorizer"), HasSubstr("may not be modified")))
                << pText;
        }
    }
    expectUntouched();
}

TEST_F(SmugglingTest, theSchemasOwnTriggersViewsChecksAndDefaultsWork)
{
    sql("CREATE TABLE Rich (Id INTEGER PRIMARY KEY AUTOINCREMENT, Name TEXT CHECK (length(Name) < 9),"
        " Upper TEXT AS (upper(Name)), Made TEXT DEFAULT (hex('a')), Stamp DEFAULT CURRENT_TIMESTAMP);"
        "CREATE INDEX ByLower ON Rich (lower(Name));"
        "CREATE TABLE Log (Id INTEGER PRIMARY KEY, Word TEXT);"
        "CREATE TRIGGER OnRich AFTER INSERT ON Rich BEGIN INSERT INTO Log (Word) VALUES (trim(' ' || "
        "new.Name)); END;"
        "CREATE VIEW Look AS WITH RECURSIVE R (N) AS (SELECT 1 UNION ALL SELECT N + 1 FROM R WHERE N < 3)"
        " SELECT N AS Id, max(abs(-N), 0) AS A FROM R;"
        "CREATE TABLE Child (Id INTEGER PRIMARY KEY, Rich INTEGER REFERENCES Rich (Id) ON DELETE CASCADE)");
    SqliteWrapper oDatabase = open();
    int iId = 0;
    EXPECT_EQ(oDatabase.insertKey(iId, "Rich", row({{"Name", "abc"}})), 0U);
    EXPECT_EQ(iId, 1);
    EXPECT_EQ(logged([&] {
                  EXPECT_EQ(oDatabase.insertRow("Rich", row({{"Name", "too long a name"}})), 6U);
              }).size(),
              2U);
    ValueList lRow;
    EXPECT_EQ(oDatabase.selectKey(lRow, "Rich", "Upper", "ABC", {"Upper", "Made"}), 0U);
    EXPECT_EQ(lRow, row({{"Upper", "ABC"}, {"Made", "61"}}));
    lRow.clear();
    EXPECT_EQ(oDatabase.selectKey(lRow, "Log", "Id", "1", {"Word"}), 0U);
    EXPECT_EQ(lRow, row({{"Word", "abc"}}));
    unsigned iSize = 0;
    EXPECT_EQ(oDatabase.getSize(iSize, "Look"), 0U);
    EXPECT_EQ(iSize, 3U);
    EXPECT_EQ(oDatabase.insertRow("Child", row({{"Rich", 1}})), 0U);
    EXPECT_EQ(oDatabase.deleteKey("Rich", "Name", "abc"), 0U);
    EXPECT_EQ(oDatabase.getSize(iSize, "Child"), 0U);
    EXPECT_EQ(iSize, 0U);
    // What SQLite keeps for itself is no client's business, though it is found as a table.
    const auto refused = ElementsAre("Error 23 (not authorized)", failure("exec", 1));
    EXPECT_THAT(logged([&] { EXPECT_EQ(oDatabase.deleteAll("sqlite_sequence"), 1U); }), refused);
    EXPECT_THAT(logged([&] {
                    EXPECT_EQ(oDatabase.insertRow("sqlite_sequence", row({{"seq", 99}})), 1U);
                }),
                refused);
}
