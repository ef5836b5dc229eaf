// What SqliteWrapper does with kept statements and remembered facts, and with changes made at once, must
// never differ from plain statements, whatever the table, the values and the state of the transaction.
#include "storage/sqlitestring.h"
#include "storage/sqlitewrapper.h"

#include "tests/unit/storage/database.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>
#include <set>

using namespace systema;

namespace {

constexpr const char* c_pSchema = R"(
CREATE TABLE Main (Id INTEGER PRIMARY KEY, Name TEXT UNIQUE, Number INTEGER UNSIGNED, Note VARCHAR(40),
    Data BLOB, Ratio REAL, Flag INT CHECK (length(Flag) < 3), Must TEXT NOT NULL DEFAULT 'x');
INSERT INTO Main (Id, Name, Number, Ratio) VALUES (0, 'zero', 0, 0), (1, 'a', -1, 1.5), (2, 'b', 5000000000, 2),
    (3, 'c', 'text', NULL), (4, NULL, 2.9, 1), (-5, 'e', NULL, NULL);
CREATE TABLE Child (Id INTEGER PRIMARY KEY, Parent INTEGER REFERENCES Main(Id), Word TEXT);
INSERT INTO Child VALUES (1, 1, 'one'), (2, 2, 'two');
CREATE TABLE Same (Id INTEGER, Word TEXT);
INSERT INTO Same VALUES (1, 'x'), (1, 'x'), (2, 'y'), (NULL, 'z');
CREATE TABLE NoId (Word TEXT, Number INT);
INSERT INTO NoId VALUES ('a', 1), ('b', 2);
CREATE TABLE Typed (Id INTEGER PRIMARY KEY, Number INTEGER) STRICT;
CREATE TABLE Clash (Id INTEGER PRIMARY KEY, Word TEXT UNIQUE ON CONFLICT REPLACE,
    Number INTEGER UNIQUE ON CONFLICT IGNORE, Flag INT UNIQUE ON CONFLICT ROLLBACK, Name UNIQUE ON CONFLICT FAIL);
CREATE TABLE Log (Id INTEGER PRIMARY KEY AUTOINCREMENT, Word TEXT, Moment INT DEFAULT (abs(-1)));
CREATE TABLE Watched (Id INTEGER PRIMARY KEY, Word TEXT, Number INT);
INSERT INTO Watched VALUES (1, 'a', 1), (2, 'b', 2), (3, 'c', 2);
CREATE TRIGGER Before BEFORE UPDATE ON Watched BEGIN
    SELECT RAISE(ABORT, 'not that') WHERE new.Word = 'abort';
    SELECT RAISE(IGNORE) WHERE new.Word = 'ignore';
    INSERT INTO Log (Word) VALUES (upper(new.Word));
    SELECT RAISE(IGNORE) WHERE new.Word = 'late';
    SELECT RAISE(FAIL, 'half') WHERE new.Word = 'fail' AND new.Id > 1;
    SELECT RAISE(ROLLBACK, 'all back') WHERE new.Word = 'back';
END;
CREATE TRIGGER After AFTER DELETE ON Watched BEGIN INSERT INTO Log (Word) VALUES ('gone'); END;
CREATE VIEW Names AS SELECT Id, Name, upper(Name) AS Word FROM Main;
CREATE TRIGGER ToMain INSTEAD OF UPDATE ON Names BEGIN
    UPDATE Main SET Note = coalesce(Note, '') || new.Name WHERE Id = old.Id AND new.Name != 'nothing';
END;
CREATE VIEW Fixed AS SELECT 7 AS Id, 'w' AS Word;
CREATE INDEX ByWord ON Same (Word);
CREATE TABLE Keyed (Id INTEGER PRIMARY KEY ON CONFLICT REPLACE, Word TEXT UNIQUE ON CONFLICT REPLACE,
    Number INT DEFAULT 1 REFERENCES Watched(Id) ON DELETE CASCADE ON UPDATE SET NULL) WITHOUT ROWID;
INSERT INTO Keyed VALUES (1, 'a', 1), (2, 'b', 2), (3, 'c', 3);
CREATE TABLE Leaf (Id INTEGER PRIMARY KEY, Parent INT DEFAULT 1 REFERENCES Keyed(Id) ON DELETE CASCADE) WITHOUT ROWID;
INSERT INTO Leaf VALUES (1, 1), (2, 2), (3, 2);
CREATE TABLE Scratch (Id INTEGER PRIMARY KEY, Word TEXT);
INSERT INTO Scratch VALUES (1, 'x');
CREATE TRIGGER Emptied AFTER UPDATE ON Keyed BEGIN DELETE FROM Scratch; END;
CREATE TRIGGER Filled AFTER INSERT ON Leaf BEGIN INSERT INTO Scratch (Word) VALUES ('x'); END;
CREATE VIEW Leaves AS SELECT l.Id, s.Word FROM Leaf l, Keyed k LEFT JOIN Scratch s WHERE l.Parent = k.Id;
CREATE VIEW Few AS SELECT count(*) AS Word FROM Leaves;
)";

constexpr const char* c_aTables[] = {"Main",  "Child", "Same",    "NoId",    "Typed", "Clash", "Log",
                                     "Keyed", "Leaf",  "Scratch", "Watched", "Names", "Fixed", "main"};
constexpr const char* c_aContents[] = {"Main",    "Child", "Same",    "NoId",  "Typed",
                                       "Clash",   "Log",   "Watched", "Keyed", "Leaf",
                                       "Scratch", "Names", "Leaves",  "Few",   "Fixed"};
constexpr const char* c_aOddTables[] = {"Missing", "ByWord", "Before", "sqlite_master", "select"};
constexpr const char* c_aColumns[] = {"Id",   "Id",   "Name",   "Word", "Number", "Note",   "Data", "Ratio",
                                      "Flag", "Must", "Parent", "Nope", "rowid",  "select", "NULL", "id"};
constexpr const char* c_aTexts[] = {"",        "0",  "1",     "2",      "a",    "b",    "z",
                                    "it's",    "'",  "abort", "ignore", "late", "fail", "back",
                                    "nothing", "-1", "1.5",   "007",    "\xff"};
constexpr int c_aNumbers[] = {0, 1, 2, 3, 7, -1, 100, 2147483647, -2147483647 - 1};

/// A name that hasTable has no room for.
std::string longTable()
{
    return std::string(470, 'L');
}

/// The same without what makes it fast: a shared file, of which nothing is kept, and changes by key that look
/// for a row first and are literal texts.
class PlainDatabase : public SqliteWrapper
{
public:
    using SqliteWrapper::SqliteWrapper;

    EResultCode updateKey(const std::string& a_sTable, const std::string& a_sColumn,
                          const std::string& a_sKey, const ValueList& a_lValues)
    {
        if (hasTable(a_sTable) && !(a_sColumn == "Id" && a_sKey == "0") &&
            std::ranges::any_of(a_lValues, [](const auto& a_oEntry) {
                return (a_oEntry.first == "Id" || a_oEntry.first == "id" || a_oEntry.first == "rowid") &&
                       a_oEntry.second.toText() == "0";
            })) {
            return logError("updateKey", EResultCode::Constraint);
        }
        std::string sPairs;
        for (const auto& [sName, oValue] : a_lValues) {
            sPairs += (sPairs.empty() ? "" : ", ") + quoted(sName) + " = " + literal(oValue);
        }
        return change("updateKey", a_sTable, a_sColumn, a_sKey,
                      "UPDATE " + quoted(a_sTable) + " SET " + sPairs, 8192);
    }
    EResultCode deleteKey(const std::string& a_sTable, const std::string& a_sColumn,
                          const std::string& a_sKey)
    {
        return change("deleteKey", a_sTable, a_sColumn, a_sKey, "DELETE FROM " + quoted(a_sTable), 4096);
    }

private:
    static std::string quoted(const std::string& a_sName) { return "`" + a_sName + "`"; }
    static std::string literal(const Value& a_oValue)
    {
        if (a_oValue.getType() == EDataType::Text) {
            const std::string sDoubled = SqliteString::replace(a_oValue.getText(), "'", "''");
            return "'" + sDoubled + "'";
        }
        return a_oValue.getType() == EDataType::Null ? "NULL" : a_oValue.toText();
    }

    EResultCode change(const char* a_pOperation, const std::string& a_sTable, const std::string& a_sColumn,
                       const std::string& a_sKey, const std::string& a_sChange, std::size_t a_iLimit)
    {
        if (!hasTable(a_sTable)) {
            return logError(a_pOperation, EResultCode::NoTable);
        }
        if (a_sColumn == "Id" && a_sKey == "0") {
            return logError(a_pOperation, EResultCode::ReadOnly);
        }
        ValueList lRow;
        const EResultCode eCode = selectKey(lRow, a_sTable, a_sColumn, a_sKey, {});
        const std::string sText =
            a_sChange + " WHERE " + quoted(a_sColumn) + " = '" + a_sKey + "' AND Id != 0";
        const auto iQuotes = static_cast<std::size_t>(std::ranges::count(sText, '`'));
        if (eCode == EResultCode::Success && sText.size() - iQuotes > a_iLimit) {
            const std::string sLimit = "SQL string exceeds limit of " + std::to_string(a_iLimit) + " chars,";
            return logError(sLimit.c_str(), EResultCode::Failure);
        }
        return eCode == EResultCode::Success ? exec(sText.c_str()) : eCode;
    }
};

/// Draws the arguments of one operation, each in a statement of its own: compilers differ in the order in
/// which they evaluate the arguments of a call, but all are to draw the same.
class Dice
{
public:
    explicit Dice(unsigned a_iSeed) : m_oEngine(a_iSeed) {}

    unsigned below(std::size_t a_iEnd) { return static_cast<unsigned>(m_oEngine() % a_iEnd); }
    template<typename List>
    auto& oneOf(List& a_lList)
    {
        return a_lList[below(std::size(a_lList))];
    }
    std::string table()
    {
        const unsigned i = below(14);
        return i == 0 ? oneOf(c_aOddTables) : i == 1 ? longTable() : oneOf(c_aTables);
    }
    std::string column() { return oneOf(c_aColumns); }
    std::string key()
    {
        const std::string sText = oneOf(c_aTexts);
        return sText.find('\'') == std::string::npos ? sText : std::string(below(4200), 'k');
    }
    NameList columns()
    {
        NameList lNames;
        for (unsigned i = below(8) ? 0 : below(3); i > 0; --i) {
            lNames.add(column());
        }
        return lNames;
    }
    ValueList values()
    {
        ValueList lValues;
        for (unsigned i = below(20) ? 1 + below(3) : 0; i > 0; --i) {
            const Value oValue = value();
            lValues.add(column(), oValue);
        }
        return lValues;
    }

private:
    Value value()
    {
        switch (below(below(4) ? 4 : 5)) {
        case 0:
            return Value(1);
        case 1:
            return Value(2, oneOf(c_aNumbers));
        case 2:
            return Value(3, oneOf(c_aNumbers));
        case 3:
            return Value(4, std::string(oneOf(c_aTexts)));
        default:
            const char cText = below(10) ? 'v' : '\'';
            return Value(4, std::string(below(8500), cText));
        }
    }

    std::mt19937 m_oEngine;
};

/// Everything an operation tells its caller besides its code.
struct Answer
{
    ValueList m_lRow;
    ColumnList m_lColumns;
    unsigned m_iSize = 0;
    int m_iId = 0;

    bool operator==(const Answer&) const = default;
};

/// One operation with its arguments, to be run on either database. Its code.
template<class Database>
unsigned perform(Answer& a_oAnswer, Database& a_oDatabase, unsigned a_iOperation, Dice a_oDice)
{
    Answer& o = a_oAnswer;
    Dice& d = a_oDice;
    const std::string sTable = d.table();
    const std::string sColumn = d.column();
    const std::string sKey = d.key();
    const unsigned iPosition = d.below(20) ? d.below(7) : 4294967295U;
    switch (a_iOperation) {
    case 0:
        return a_oDatabase.getSchema(o.m_lColumns, sTable);
    case 1:
        return a_oDatabase.getSize(o.m_iSize, sTable);
    case 2:
        return a_oDatabase.selectRow(o.m_lRow, sTable, iPosition, d.columns());
    case 3:
        return a_oDatabase.selectKey(o.m_lRow, sTable, sColumn, sKey, d.columns());
    case 4:
        return a_oDatabase.insertRow(sTable, d.values());
    case 5:
        return a_oDatabase.insertKey(o.m_iId, sTable, d.values());
    case 6:
        return a_oDatabase.updateRow(sTable, iPosition, d.values());
    case 7:
        return a_oDatabase.updateKey(sTable, sColumn, sKey, d.values());
    case 8:
        return a_oDatabase.deleteRow(sTable, iPosition);
    case 9:
        return a_oDatabase.deleteKey(sTable, sColumn, sKey);
    case 10:
        return d.below(5) ? EResultCode(0) : a_oDatabase.deleteAll(sTable);
    case 11:
        return a_oDatabase.exec("BEGIN IMMEDIATE");
    case 12:
        return a_oDatabase.exec("COMMIT");
    default:
        return a_oDatabase.exec("ROLLBACK");
    }
}

class PlainStatementsTest : public tests::DatabaseTest, public testing::WithParamInterface<bool>
{
protected:
    static std::string contents(const std::string& a_sFile)
    {
        std::string sAll;
        for (const char* pTable : c_aContents) {
            sAll += std::string(pTable) + ":" +
                    tests::runSql(a_sFile, std::string("SELECT * FROM ") + pTable) + "\n";
        }
        return sAll;
    }
};

} // namespace

TEST_P(PlainStatementsTest, codesRowsLinesAndContentsAreThoseOfPlainStatements)
{
    std::array<unsigned, 11> aCodes{};
    const std::string sFresh = m_oDir.file("fresh.db");
    const std::string sOther = m_oDir.file("plain.db");
    ASSERT_EQ(tests::runSql(sFresh, c_pSchema), "");
    tests::runSql(sFresh, "CREATE TABLE " + longTable() + " AS SELECT Id, Word FROM Watched");
    for (unsigned iSeed = 0; iSeed < 20; ++iSeed) {
        constexpr auto c_eReplace = std::filesystem::copy_options::overwrite_existing;
        std::filesystem::copy_file(sFresh, file(), c_eReplace);
        std::filesystem::copy_file(sFresh, sOther, c_eReplace);
        {
            SqliteWrapper oDatabase = open(GetParam());
            PlainDatabase oPlain("plain.db", m_oDir.path(), false);
            Dice oDice(iSeed);
            for (int i = 0; i < 150; ++i) {
                const unsigned iOperation = oDice.below(14);
                const Dice oArguments(iSeed * 1000U + static_cast<unsigned>(i));
                unsigned iCode = 0;
                unsigned iExpected = 0;
                Answer oAnswer;
                Answer oExpected;
                const auto lLines =
                    tests::logged([&] { iCode = perform(oAnswer, oDatabase, iOperation, oArguments); });
                const auto lExpected =
                    tests::logged([&] { iExpected = perform(oExpected, oPlain, iOperation, oArguments); });
                SCOPED_TRACE("seed " + std::to_string(iSeed) + " step " + std::to_string(i));
                ASSERT_EQ(iCode, iExpected);
                ASSERT_TRUE(oAnswer == oExpected);
                ASSERT_EQ(lLines, lExpected);
                ++aCodes.at(iCode);
            }
        }
        ASSERT_EQ(contents(file()), contents(sOther)) << "seed " << iSeed;
    }
    for (const unsigned iCode : {0, 1, 4, 6, 7, 8, 10}) { // the dice did reach them
        EXPECT_GT(aCodes.at(iCode), 0U) << iCode;
    }
}

using TouchedTablesTest = tests::DatabaseTest;

TEST_F(TouchedTablesTest, rowsThatChangeInATableThatNobodyNames)
{
    std::set<std::string> lSeen;
    for (unsigned iSeed = 0; iSeed < 15; ++iSeed) {
        std::filesystem::remove(file());
        ASSERT_EQ(sql(c_pSchema), "");
        SqliteWrapper oDatabase = open();
        const auto read = [&] {
            std::map<std::string, std::string> mContents;
            for (const char* pTable : c_aContents) {
                sqlite3_stmt* pRows = nullptr;
                oDatabase.query((std::string("SELECT * FROM ") + pTable).c_str(), &pRows);
                std::string& sRows = mContents[pTable];
                while (sqlite3_step(pRows) == SQLITE_ROW) {
                    for (int i = 0; i < sqlite3_column_count(pRows); ++i) {
                        const auto* pText = reinterpret_cast<const char*>(sqlite3_column_text(pRows, i));
                        sRows += std::string(pText == nullptr ? "NULL" : pText) + "|";
                    }
                }
                sqlite3_finalize(pRows);
            }
            return mContents;
        };
        Dice oDice(iSeed);
        auto mContents = read();
        for (unsigned i = 0; i < 200; ++i) {
            const bool bInTransaction = oDatabase.isInTransaction();
            const unsigned iOperation = 4 + oDice.below(9);
            Answer oAnswer;
            tests::logged([&] { perform(oAnswer, oDatabase, iOperation, Dice(iSeed * 1000U + i)); });
            NameList lTouched;
            EXPECT_TRUE(oDatabase.takeTouched(lTouched));
            const auto mBefore = std::exchange(mContents, read());
            if (oDatabase.isInTransaction() != bInTransaction) {
                continue; // what a rollback undoes was named before
            }
            for (const auto& [sTable, sRows] : mContents) {
                if (mBefore.at(sTable) != sRows) {
                    lSeen.insert(sTable);
                    ASSERT_TRUE(lTouched.hasName(sTable)) << sTable << " seed " << iSeed << " step " << i;
                }
            }
        }
    }
    EXPECT_EQ(lSeen.size(), std::size(c_aContents) - 1) << "a fixed view never differs, all else does";
}

INSTANTIATE_TEST_SUITE_P(BothKinds, PlainStatementsTest, testing::Bool(),
                         [](const auto& a_oInfo) { return a_oInfo.param ? "exclusive" : "shared"; });
