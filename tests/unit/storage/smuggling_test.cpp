// Whatever a client puts into names and keys, no operation runs anything but its own statement.
#include "storage/sqlitewrapper.h"

#include "tests/row.h"
#include "tests/unit/storage/database.h"

#include <filesystem>
#include <functional>

using namespace systema;
using testing::ElementsAre;
using testing::HasSubstr;
using tests::failure;
using tests::Lines;
using tests::logged;
using tests::row;

namespace {

class SmugglingTest : public tests::DatabaseTest
{
protected:
    SmugglingTest()
    {
        sql("CREATE TABLE T (Id INTEGER PRIMARY KEY, Name TEXT); INSERT INTO T VALUES (0, 'z'), (1, 'a'), "
            "(2, 'b');"
            "CREATE TABLE Hidden (Id INTEGER PRIMARY KEY AUTOINCREMENT, Secret TEXT); INSERT INTO Hidden "
            "VALUES (1, "
            "'secret');"
            "CREATE TABLE \"T WHERE Id = 1\" (Id INTEGER)");
        m_sBefore = readFile(file());
    }

    void expectUntouched() const
    {
        EXPECT_EQ(readFile(file()), m_sBefore);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_oDir.path()), {}), 2) << "its journal";
    }

    std::string m_sBefore;
};

} // namespace

TEST_F(SmugglingTest, whatBreaksOutOfAStatementIsTheSyntaxErrorThatItWouldBe)
{
    using Texts = std::vector<std::string>;
    const Texts lColumns = {"T; DROP TABLE T; --", "(SELECT Secret FROM Hidden)", "Id AS Secret", "Id\n", ""};
    const Texts lKeys = {"1' OR '1'='1", "1'; ATTACH 'evil.db' AS e; --",
                         "' UNION SELECT Secret FROM Hidden --", "1'''", "''' OR '"};
    {
        SqliteWrapper d = open();
        ValueList lRow;
        std::unique_ptr<IRowCursor> pCursor;
        const auto values = [](const std::string& s) { return row({{"Name", "x"}, {s.c_str(), "x"}}); };
        const struct
        {
            Texts m_lTexts;
            const char* m_pFailsAs;
            std::function<EResultCode(const std::string&)> m_oRun;
        } aCases[] = {
            {lColumns, "selectSql",
             [&](auto& s) {
                 return d.selectRow(lRow, "T", 0, {"Id", s});
             }},
            {lColumns, "selectSql", [&](auto& s) { return d.openRows(pCursor, "T", 0, 1, {s}); }},
            {lColumns, "selectSql", [&](auto& s) { return d.selectKey(lRow, "T", "Id", "1", {s}); }},
            {lColumns, "selectSql", [&](auto& s) { return d.selectKey(lRow, "T", s, "1", {}); }},
            {lColumns, "selectSql", [&](auto& s) { return d.updateKey("T", s, "1", values(s)); }},
            {lColumns, "selectSql", [&](auto& s) { return d.deleteKey("T", s, "1"); }},
            {lColumns, "exec", [&](auto& s) { return d.updateKey("T", "Id", "1", values(s)); }},
            {lColumns, "exec", [&](auto& s) { return d.updateRow("T", 0, values(s)); }},
            {lColumns, "exec", [&](auto& s) { return d.insertRow("T", values(s)); }},
            {lKeys, "selectSql", [&](auto& s) { return d.selectKey(lRow, "T", "Id", s, {}); }},
            {lKeys, "selectSql", [&](auto& s) { return d.updateKey("T", "Id", s, values("Id")); }},
            {lKeys, "selectSql", [&](auto& s) { return d.deleteKey("T", "Id", s); }},
            {{"T WHERE Id = 1"}, "exec", [&](auto& s) { return d.deleteAll(s); }}, // a table that exists
        };
        for (const auto& oCase : aCases) {
            for (const std::string& sText : oCase.m_lTexts) {
                const Lines lLines = logged([&] { EXPECT_EQ(oCase.m_oRun(sText), 8U) << sText; });
                EXPECT_THAT(lLines,
                            ElementsAre(testing::StartsWith("Error 1 (near "), failure(oCase.m_pFailsAs, 8)))
                    << sText;
            }
        }
        for (const char* pTable : {"T' OR '1'='1", "x' UNION SELECT 1 --", "T'; DROP TABLE T; --"}) {
            EXPECT_THAT(logged([&] { EXPECT_EQ(d.selectKey(lRow, pTable, "Id", "1", {}), 8U); }),
                        ElementsAre(HasSubstr("Error 1 (near"), failure("hasTable", 8),
                                    HasSubstr("Error 1 (near"), failure("selectSql", 8)));
        }
        for (const char* pKey :
             {"1 OR 1", "1 --", "\" OR \"\" = \"", "?1", "'' OR 1 --"}) { // one text, no more
            EXPECT_EQ(d.deleteKey("T", "Name", pKey), 10U) << pKey;
        }
        EXPECT_TRUE(lRow.empty());
    }
    expectUntouched();
}

TEST_F(SmugglingTest, aKeyValueWithAQuoteIsNotLogged)
{
    SqliteWrapper d = open();
    ValueList lRow;
    EXPECT_THAT(logged([&] { EXPECT_EQ(d.selectKey(lRow, "T", "Name", "it's secret", {}), 8U); }),
                ElementsAre("Error 1 (near the quote in the key value of Name: syntax error)",
                            failure("selectSql", 8)));
}

TEST_F(SmugglingTest, aKeyValueWithADoubledQuoteIsThatOfTheTextWithOne)
{
    SqliteWrapper d = open();
    ValueList lRow;
    ASSERT_EQ(d.updateKey("T", "Id", "1", row({{"Name", "it's '' Tom's"}})), 0U);
    EXPECT_EQ(d.selectKey(lRow, "T", "Name", "it''s '''' Tom''s", {"Id"}), 0U);
    EXPECT_EQ(lRow, row({{"Id", 1}}));
    EXPECT_EQ(d.selectKey(lRow, "T", "Name", "it''s '' Tom''s", {"Id"}), 10U);
    EXPECT_EQ(d.deleteKey("T", "Name", "it''s '''' Tom''s"), 0U);
}

TEST_F(SmugglingTest, behindTheNamesSqliteItselfRefusesTheRest)
{
    {
        const SqliteWrapper oDatabase = open();
        for (const char* pText :
             {"DROP TABLE T", "CREATE TEMP TABLE X (Id)", "ATTACH 'evil.db' AS Evil",
              "PRAGMA journal_mode = OFF", "VACUUM INTO 'evil.db'", "SAVEPOINT S",
              "DELETE FROM sqlite_sequence", "INSERT INTO SQLite_Master VALUES (1, 2, 3, 4, 5)",
              "SELECT load_extension('evil')", "UPDATE T SET Name = hex(Name)",
              "DELETE FROM T WHERE abs(Id) > 0", "SELECT CURRENT_TIMESTAMP"}) {
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
