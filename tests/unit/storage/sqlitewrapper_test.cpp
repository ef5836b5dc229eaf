#include "storage/sqlitewrapper.h"

#include "tests/row.h"
#include "tests/unit/storage/database.h"
#include "zel/uniquefd.h"

#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <unistd.h>

using namespace systema;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using tests::failure;
using tests::Lines;
using tests::logged;
using tests::row;

namespace {

constexpr const char* c_pPeople =
    "CREATE TABLE People (Id INTEGER PRIMARY KEY, Name TEXT UNIQUE, Age INTEGER UNSIGNED);"
    "INSERT INTO People VALUES (0, 'default', 0), (1, 'Ann', 31), (2, 'Bob', 32)";

struct Outcome
{
    EResultCode m_eCode;
    Lines m_lLines;
};

class SqliteWrapperTest : public tests::DatabaseTest
{
protected:
    static Outcome outcome(const std::function<EResultCode()>& a_oAction)
    {
        Outcome oOutcome;
        oOutcome.m_lLines = logged([&] { oOutcome.m_eCode = a_oAction(); });
        return oOutcome;
    }

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

class FullSink : public IRowSink
{
public:
    void addNull() override {}
    void addInteger(int) override {}
    void addUnsigned(unsigned) override {}
    void addText(std::string_view) override {}
    bool endRow() override { return false; }
};

/// An operation and what it is called in the log.
struct Operation
{
    const char* m_pName;
    const char* m_pFailsAs; // a statement that does not prepare
    std::function<EResultCode(SqliteWrapper&, const std::string&)> m_oRun;
};

const Operation c_aOperations[] = {
    {"getSchema", "getSchema",
     [](SqliteWrapper& d, const std::string& t) {
         ColumnList lColumns;
         return d.getSchema(lColumns, t);
     }},
    {"getSize", "getSize",
     [](SqliteWrapper& d, const std::string& t) {
         unsigned iSize;
         return d.getSize(iSize, t);
     }},
    {"selectKey", "selectSql",
     [](SqliteWrapper& d, const std::string& t) {
         ValueList lRow;
         return d.selectKey(lRow, t, "Id", "1", {});
     }},
    {"insertRow", "exec",
     [](SqliteWrapper& d, const std::string& t) {
         return d.insertRow(t, row({{"Id", 9}}));
     }},
    {"updateKey", "selectSql",
     [](SqliteWrapper& d, const std::string& t) {
         return d.updateKey(t, "Id", "1", row({{"Id", 9}}));
     }},
    {"deleteKey", "selectSql",
     [](SqliteWrapper& d, const std::string& t) { return d.deleteKey(t, "Id", "1"); }},
    {"deleteAll", "exec", [](SqliteWrapper& d, const std::string& t) { return d.deleteAll(t); }},
    {"selectRow", "selectSql",
     [](SqliteWrapper& d, const std::string& t) {
         ValueList lRow;
         return d.selectRow(lRow, t, 0, {});
     }},
    {"updateRow", "selectSql",
     [](SqliteWrapper& d, const std::string& t) {
         return d.updateRow(t, 0, row({{"Id", 9}}));
     }},
    {"deleteRow", "selectSql", [](SqliteWrapper& d, const std::string& t) { return d.deleteRow(t, 0); }},
};

} // namespace

TEST_F(SqliteWrapperTest, aStatementOverItsLimitGivesOneAndOneLine)
{
    sql("CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT); INSERT INTO T VALUES (1, 'a')");
    SqliteWrapper oDatabase = open();
    const auto textOf = [](std::size_t a_iLength) { return std::string(a_iLength, 'x'); };
    const auto limitLine = [](int a_iLimit) {
        return ElementsAre("SQL string exceeds limit of " + std::to_string(a_iLimit) +
                           " chars, failed with error: 1 (general failure)");
    };
    const struct
    {
        int m_iLimit;
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
         [&](const std::string& s) {
             ValueList lRow;
             const EResultCode eCode = oDatabase.selectKey(lRow, "T", "Text", s, {"Id"});
             return eCode == 10 ? EResultCode(0) : eCode;
         }},
        {4096, "SELECT * FROM T WHERE Text = '' AND Id != 0",
         [&](const std::string& s) {
             const EResultCode eCode = oDatabase.deleteKey("T", "Text", s);
             return eCode == 10 ? EResultCode(0) : eCode;
         }},
        {4096, "SELECT * FROM T WHERE Text = '' AND Id != 0",
         [&](const std::string& s) {
             const EResultCode eCode = oDatabase.updateKey("T", "Text", s, row({{"Id", 1}}));
             return eCode == 10 ? EResultCode(0) : eCode;
         }},
    };
    for (const auto& oCase : aCases) {
        const std::size_t iRoom = static_cast<std::size_t>(oCase.m_iLimit) - oCase.m_sAround.size();
        const Outcome oFits = outcome([&] { return oCase.m_oRun(textOf(iRoom)); });
        EXPECT_EQ(oFits.m_eCode, 0U) << oCase.m_sAround;
        EXPECT_THAT(oFits.m_lLines, IsEmpty()) << oCase.m_sAround;
        const Outcome oOver = outcome([&] { return oCase.m_oRun(textOf(iRoom + 1)); });
        EXPECT_EQ(oOver.m_eCode, 1U) << oCase.m_sAround;
        EXPECT_THAT(oOver.m_lLines, limitLine(oCase.m_iLimit)) << oCase.m_sAround;
    }
    // A doubled quote counts twice.
    const std::string sQuotes((4096 - aCases[0].m_sAround.size()) / 2 + 1, '\'');
    EXPECT_THAT(outcome([&] { return aCases[0].m_oRun(sQuotes); }).m_lLines, limitLine(4096));

    // Table names alone fill the statements on whole tables.
    for (const auto& [iOperation, pAround] :
         {std::pair(0, "SELECT * FROM  LIMIT 0,1"), std::pair(1, "SELECT COUNT(*) FROM "),
          std::pair(6, "DELETE FROM  WHERE Id != 0")}) {
        const std::string sTable = textOf(512 - std::string(pAround).size());
        const auto lFits =
            outcome([&] { return c_aOperations[iOperation].m_oRun(oDatabase, sTable); }).m_lLines;
        ASSERT_EQ(lFits.size(), 4U) << pAround;
        EXPECT_THAT(lFits[2], HasSubstr("no such table"));
        const Outcome oOver =
            outcome([&] { return c_aOperations[iOperation].m_oRun(oDatabase, sTable + "x"); });
        EXPECT_EQ(oOver.m_eCode, 1U);
        EXPECT_THAT(oOver.m_lLines.back(), HasSubstr("exceeds limit of 512 chars,")) << pAround;
    }
}

TEST_F(SqliteWrapperTest, positionsAreThoseOfTheNaturalOrderWhateverTheColumns)
{
    sql("CREATE TABLE People (Id INTEGER PRIMARY KEY, Name TEXT UNIQUE);"
        "INSERT INTO People VALUES (0, 'm'), (1, 'z'), (2, 'a');"
        "CREATE VIEW Names AS SELECT Id, Name FROM People");
    SqliteWrapper oDatabase = open();
    for (const char* pTable : {"People", "Names"}) {
        for (const auto& [iPosition, pName] : {std::pair(0U, "z"), std::pair(1U, "a")}) {
            ValueList lRow;
            EXPECT_EQ(oDatabase.selectRow(lRow, pTable, iPosition, {"Name"}), 0U);
            EXPECT_EQ(lRow, row({{"Name", pName}})) << pTable;
        }
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
    EXPECT_EQ(at(oDatabase, 0), row({{"Id", 1}}));
    EXPECT_EQ(oDatabase.updateKey("People", "Id", "1", row({{"Id", 0}})), 0U);
    EXPECT_EQ(at(oDatabase, 0), row({{"Id", 2}}));
    EXPECT_EQ(size(oDatabase), 1U);
    EXPECT_EQ(oDatabase.exec("UPDATE People SET Id = 1 WHERE Id = 0"), 0U);
    EXPECT_EQ(at(oDatabase, 0), row({{"Id", 1}}));

    EXPECT_EQ(oDatabase.startTransaction(), 0U);
    for (const char* pAlias : {"Id", "id", "ROWID", "oid", "_rowid_"}) {
        EXPECT_EQ(oDatabase.insertRow("People", row({{pAlias, 0}})), EResultCode::Constraint) << pAlias;
    }
    EXPECT_EQ(oDatabase.updateKey("People", "Id", "1", row({{"Id", 0}})), 0U);
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
    const Outcome o = outcome([&] {
        return oDatabase.updateKey("People", "Id", "1", row({{"Extra", "e"}}));
    });
    EXPECT_EQ(o.m_eCode, 8U);
    EXPECT_THAT(o.m_lLines, ElementsAre("Error 1 (no such column: Extra)", failure("exec", 8)));
}

TEST_F(SqliteWrapperTest, aFileLockedByAnotherGivesCodesAtOnce)
{
    sql(c_pPeople);
    SqliteWrapper oDatabase = open(false);
    sqlite3* pOther = nullptr;
    sqlite3_open(file().c_str(), &pOther);
    sqlite3_exec(pOther, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    Outcome o = outcome([&] { return oDatabase.updateKey("People", "Id", "1", row({{"Age", 1}})); });
    EXPECT_EQ(o.m_eCode, 2U);
    EXPECT_THAT(o.m_lLines, ElementsAre("Error 5 (database is locked)", failure("exec", 2)));
    o = outcome([&] { return oDatabase.updateKey("People", "Id", "5", row({{"Age", 1}})); });
    EXPECT_EQ(o.m_eCode, 10U); // reading is possible, and there is no such row
    EXPECT_THAT(o.m_lLines, IsEmpty());
    sqlite3_close(pOther);
    EXPECT_EQ(oDatabase.updateKey("People", "Id", "1", row({{"Age", 1}})), 0U);
}

TEST_F(SqliteWrapperTest, aClosedDatabaseAnswersEveryOperationWithACode)
{
    sql(c_pPeople);
    SqliteWrapper oDatabase = open();
    for (const auto& oOperation : c_aOperations) {
        oDatabase.open();
        outcome([&] { return oOperation.m_oRun(oDatabase, "People"); });
        oDatabase.close();
        for (const char* pTable : {"People", "no plain name'"}) {
            const Outcome o = outcome([&] { return oOperation.m_oRun(oDatabase, pTable); });
            EXPECT_EQ(o.m_eCode, 1U) << oOperation.m_pName;
            ASSERT_GE(o.m_lLines.size(), 4U);
            EXPECT_EQ(o.m_lLines[0], "Error 21 (bad parameter or other API misuse)");
            EXPECT_EQ(o.m_lLines[1], failure("hasTable", 1));
            EXPECT_EQ(o.m_lLines.back(), failure(oOperation.m_pFailsAs, 1));
        }
    }
    int iId = 5;
    const Outcome o = outcome([&] { return oDatabase.lastInsertID(iId); });
    EXPECT_EQ(o.m_eCode, 1U);
    EXPECT_THAT(o.m_lLines.back(), failure("lastInsertID", 1));
    EXPECT_EQ(iId, 5);
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
        FullSink oSink;
        EXPECT_EQ(outcome([&] { return pCursor->fetch(oSink); }).m_lLines,
                  (Lines{"Error 10 (disk I/O error)", failure("selectRow", 1)}));
        EXPECT_EQ(pCursor->fetch(oSink), 1U);
    }
    EXPECT_TRUE(oDatabase.hasZeroIdRow("People"));
    EXPECT_EQ(size(oDatabase), 2U);
}
