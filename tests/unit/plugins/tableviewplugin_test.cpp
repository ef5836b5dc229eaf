#include "plugins/tableviewplugin.h"

#include "storage/sqliteplugin.h"
#include "tests/logof.h"
#include "tests/row.h"
#include "tests/unit/storage/database.h"
#include "tests/unit/systema/recordingplugin.h"
#include "tests/unit/systema/rowtexts.h"
#include "zel/assert.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>

using systema::ColumnList;
using systema::EDataType;
using systema::EResultCode;
using systema::IRowCursor;
using systema::NameList;
using systema::Value;
using systema::ValueList;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using Rows = std::vector<std::string>;

/// As the same row in bulk.
std::string textOf(const ValueList& a_lRow)
{
    RowTexts oTexts;
    for (const auto& [sName, oValue] : a_lRow) {
        oTexts.addValue(oValue);
    }
    oTexts.endRow();
    return oTexts.m_lRows.front();
}

/// Counts what it is asked.
class CountingPlugin : public systema::SqlitePlugin
{
public:
    using SqlitePlugin::SqlitePlugin;

    unsigned int m_iLookUps = 0;
    unsigned int m_iReads = 0;

    EResultCode selectKey(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                          const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                          const NameList& a_lColumns) override
    {
        ++m_iLookUps;
        return SqlitePlugin::selectKey(a_lRow, a_pHandle, a_sTable, a_sKeyColumn, a_sKeyValue, a_lColumns);
    }
    EResultCode openRows(std::unique_ptr<IRowCursor>& a_pCursor, const void* a_pHandle,
                         const std::string& a_sTable, unsigned int a_iFirst, unsigned int a_iCount,
                         const NameList& a_lColumns) override
    {
        ++m_iReads;
        return SqlitePlugin::openRows(a_pCursor, a_pHandle, a_sTable, a_iFirst, a_iCount, a_lColumns);
    }
};

/// Accounts in one database are looked up for the lines of another.
class TableViewPlugin : public testing::Test
{
protected:
    TableViewPlugin()
    {
        sql("phone.db", "CREATE TABLE Account (Id INTEGER PRIMARY KEY, Number TEXT, Code TEXT)");
        sql("common.db",
            "CREATE TABLE Line (Id INTEGER PRIMARY KEY, Name TEXT, AccountId INTEGER, Code TEXT);"
            "CREATE TABLE ViewNames (Id INTEGER PRIMARY KEY, Name TEXT, Table1 TEXT, Col1 TEXT, Table2 TEXT,"
            " Col2 TEXT);"
            "CREATE TABLE ViewColumns (ColName TEXT, ViewNamesId INTEGER, SrcTableIndex INTEGER, SrcCol TEXT,"
            " Id INTEGER PRIMARY KEY);"
            "INSERT INTO ViewNames VALUES (1, 'Lines', 'Account', 'Id', 'Line', 'AccountId')");
        columns("('Line', 2, 'Name'), ('Number', 1, 'Number')");
    }

    void sql(const std::string& a_sFile, const std::string& a_sText) const
    {
        EXPECT_EQ(tests::runSql(m_oDir.file(a_sFile), a_sText), "");
    }
    void accounts(const std::string& a_sRows) const
    {
        sql("phone.db", "INSERT INTO Account VALUES " + a_sRows);
    }
    void lines(const std::string& a_sRows) const { sql("common.db", "INSERT INTO Line VALUES " + a_sRows); }
    void view(const std::string& a_sRow) const { sql("common.db", "INSERT INTO ViewNames VALUES " + a_sRow); }
    /// Of several views, when wanted: name, index and source.
    void columns(const std::string& a_sRows, const std::string& a_sViews = "1") const
    {
        sql("common.db",
            "INSERT INTO ViewColumns (ViewNamesId, ColName, SrcTableIndex, SrcCol) SELECT Id, c.*"
            " FROM (VALUES " +
                a_sRows + ") AS c CROSS JOIN ViewNames WHERE Id IN (" + a_sViews + ")");
    }

    void start(std::chrono::milliseconds a_oCeiling = zel::TableViewPlugin::c_oCeiling)
    {
        m_pPlugin = std::make_unique<zel::TableViewPlugin>(m_oDispatcher, false, a_oCeiling);
        attachStored();
        m_oDispatcher.attachTables(*m_pPlugin);
        m_oDispatcher.initialize();
    }
    void attachStored()
    {
        for (const char* pFile : {"common.db", "phone.db"}) {
            m_lStored.push_back(std::make_unique<CountingPlugin>(m_oDir.path(), pFile, true, true, true));
            m_oDispatcher.attachTables(*m_lStored.back());
        }
    }
    CountingPlugin& accountsPlugin() { return *m_lStored[1]; }
    CountingPlugin& linesPlugin() { return *m_lStored[0]; }

    unsigned int size(const std::string& a_sTable)
    {
        unsigned int iSize = 99;
        EXPECT_EQ(m_oDispatcher.getSize(iSize, this, a_sTable), EResultCode::Success);
        return iSize;
    }
    /// The row, or the code.
    std::string row(const std::string& a_sTable, unsigned int a_iPosition, const NameList& a_lColumns = {})
    {
        ValueList lRow;
        return answer(m_oDispatcher.selectRow(lRow, this, a_sTable, a_iPosition, a_lColumns), lRow);
    }
    std::string rowOf(const std::string& a_sTable, const std::string& a_sColumn, const std::string& a_sKey,
                      const NameList& a_lColumns = {})
    {
        ValueList lRow;
        return answer(m_oDispatcher.selectKey(lRow, this, a_sTable, a_sColumn, a_sKey, a_lColumns), lRow);
    }
    static std::string answer(EResultCode a_eCode, const ValueList& a_lRow)
    {
        return a_eCode == EResultCode::Success ? textOf(a_lRow) : std::to_string(a_eCode);
    }
    /// The rows read position by position, up to the end or the first failure, which is the last then.
    Rows rowByRow(const std::string& a_sTable)
    {
        Rows lRows;
        std::string sRow;
        while ((sRow = row(a_sTable, static_cast<unsigned int>(lRows.size()))) != "10") {
            lRows.push_back(sRow);
            if (!sRow.ends_with(" ")) {
                break;
            }
        }
        return lRows;
    }
    /// The same, read as a whole in small portions.
    Rows inBulk(const std::string& a_sTable, unsigned int a_iFirst = 0,
                unsigned int a_iCount = systema::c_iAllRows, const NameList& a_lColumns = {})
    {
        return inBulk(m_oDispatcher, a_sTable, a_iFirst, a_iCount, a_lColumns);
    }
    Rows inBulk(systema::IRowSource& a_oSource, const std::string& a_sTable, unsigned int a_iFirst = 0,
                unsigned int a_iCount = systema::c_iAllRows, const NameList& a_lColumns = {})
    {
        std::unique_ptr<IRowCursor> pRows;
        EResultCode eCode = a_oSource.openRows(pRows, this, a_sTable, a_iFirst, a_iCount, a_lColumns);
        RowTexts oSink(3);
        while (eCode == EResultCode::Success) {
            eCode = pRows->fetch(oSink);
        }
        if (eCode != EResultCode::NoRow) {
            oSink.m_lRows.push_back(std::to_string(eCode));
        }
        return oSink.m_lRows;
    }
    /// Ends a pass and the next, in which views follow their tables.
    void endPass()
    {
        m_oDispatcher.sendNotifications();
        NameList lChanged;
        m_oDispatcher.tick(lChanged);
        m_oDispatcher.sendNotifications();
    }
    EResultCode update(const std::string& a_sTable, const char* a_pColumn, const char* a_pValue)
    {
        return m_oDispatcher.updateKey(this, a_sTable, "Id", "1", tests::row({{a_pColumn, a_pValue}}));
    }

    const TempDir m_oDir;
    systema::ConfigDispatcher m_oDispatcher;
    std::vector<std::unique_ptr<CountingPlugin>> m_lStored;
    std::unique_ptr<zel::TableViewPlugin> m_pPlugin;
};

} // namespace

TEST_F(TableViewPlugin, ShowsTheRowsOfTable2ThatHaveAPartnerWithinTheSmallerSize)
{
    accounts("(1, '030', ''), (3, '032', ''), (4, '033', '')");
    lines("(1, 'FXS1', 3, ''), (2, 'FXS2', 7, ''), (3, 'FXS3', 1, ''), (4, 'beyond', 1, '')");
    start();
    EXPECT_EQ(size("Lines"), 2U);
    EXPECT_EQ(row("Lines", 1), "'FXS3' '030' ");
    EXPECT_EQ(row("Lines", 2), "10");
    EXPECT_EQ(rowOf("Lines", "Line", "beyond"), "10");
    EXPECT_EQ(inBulk("Lines"), (Rows{"'FXS1' '032' ", "'FXS3' '030' "}));
    EXPECT_EQ(inBulk("Lines", 1, 1, {"Number", "Line", "Number"}), Rows{"'030' 'FXS3' '030' "});
    EXPECT_EQ(inBulk("Lines", 0, 1), Rows{"'FXS1' '032' "});
    EXPECT_EQ(inBulk("Lines", 0, 5, {"Line", "Id"}), Rows{"9"});
    EXPECT_EQ(row("Lines", 0, {"Line", "Id"}), "9");
    EXPECT_EQ(rowOf("Lines", "AccountId", "1"), "9");
    EXPECT_EQ(rowOf("Lines", "Line", "no such", {"Line", "Id"}), "9");
    EXPECT_EQ(m_oDispatcher.insertRow(this, "Lines", {}), EResultCode::ReadOnly);
}

TEST_F(TableViewPlugin, JoinsNumbersWithTextsAndNullWithTheEmptyText)
{
    view("(2, 'Codes', 'Account', 'Code', 'Line', 'AccountId'), (3, 'Ids', 'Account', 'Id', 'Line', 'Code'),"
         "(4, 'Texts', 'Account', 'Code', 'Line', 'Code')");
    columns("('Line', 2, 'Name'), ('Account', 1, 'Id')", "2, 3, 4");
    accounts("(1, '', '5'), (5, '', '05'), (6, '', '')");
    lines("(1, 'a', 5, '5'), (2, 'b', 6, '05'), (3, 'c', NULL, NULL)");
    start();
    EXPECT_EQ(inBulk("Codes"), (Rows{"'a' 1 ", "'c' 6 "}));
    EXPECT_EQ(rowOf("Codes", "Account", "06"), "'c' 6 "); // the same number for the source
    EXPECT_EQ(rowOf("Texts", "Account", "5.0", {"Line"}), "'b' ");
    EXPECT_EQ(inBulk("Ids"), (Rows{"'a' 5 ", "'b' 5 "}));
    EXPECT_EQ(inBulk("Texts"), (Rows{"'a' 1 ", "'b' 5 ", "'c' 6 "}));
    ColumnList lSchema;
    EXPECT_EQ(m_oDispatcher.getSchema(lSchema, this, "Codes"), EResultCode::Success);
    ASSERT_EQ(lSchema.size(), 2U);
    EXPECT_EQ(lSchema.getColumn("Line")->second, EDataType::Text);
    EXPECT_EQ(lSchema.getColumn("Account")->second, EDataType::Integer);
}

TEST_F(TableViewPlugin, MissingSourceColumnIsLoggedAndSpoilsTheRowsThatShowIt)
{
    columns("('Owner', 1, 'owner name')");
    accounts("(1, '030', '')");
    lines("(1, 'FXS1', 1, '')");
    start();
    EXPECT_EQ(logOf([&] { EXPECT_EQ(row("Lines", 0), "9"); }),
              "error TableView Could not find colum `owner name` in table `Account`\n");
    logOf([&] {
        EXPECT_EQ(size("Lines"), 0U);
        EXPECT_EQ(inBulk("Lines"), Rows{"9"});
        EXPECT_EQ(rowOf("Lines", "Line", "FXS1"), "10");
    });
    EXPECT_EQ(row("Lines", 0, {"Line", "Number"}), "'FXS1' '030' ");
    EXPECT_EQ(rowOf("Lines", "Owner", "030", {"Line"}), "9");
    ColumnList lSchema;
    EXPECT_EQ(m_oDispatcher.getSchema(lSchema, this, "Lines"), EResultCode::Success);
    EXPECT_EQ(lSchema.size(), 2U);
}

TEST_F(TableViewPlugin, BrokenDefinitionsAreLoggedAndServedAsFarAsTheyMakeSense)
{
    view("(2, 'Lines', 'Account', 'Id', 'Line', 'Id'), (3, 'Account', 'Line', 'Id', 'Line', 'Id'),"
         "(4, 'Itself', 'Account', 'Id', 'Itself', 'Line'), (5, 'Later', 'Over', 'Line', 'Line', 'Id'),"
         "(6, 'Over', 'Account', 'Id', 'Nothing', 'Id'), (7, 'Empty', 'Account', 'Id', 'Line', 'AccountId'),"
         "(8, NULL, 'Account', 'Id', 'Line', 'Id')");
    columns("('Line', 2, 'Name')", "2, 3, 4, 5, 6");
    accounts("(1, '030', '')");
    lines("(1, 'FXS1', 1, '')");
    EXPECT_EQ(logOf([&] { start(); }),
              "error TableView View `Lines` is left out: there is a table or view of that name\n"
              "error TableView View `Account` is left out: there is a table or view of that name\n"
              "error TableView View `Itself` is left out: it is made of itself\n"
              "error TableView View `Later` is left out: it is made of `Over`, which is defined later\n"
              "error TableView View `` is left out: it has no name\n"
              "error TableView View `Over` has no rows: there is no table `Nothing`\n"
              "error TableView View `Empty` has no columns\n"
              "error TableView Could not subcribe for tables\n");
    EXPECT_EQ(inBulk("RegisteredViews"), (Rows{"'Lines' ", "'Over' ", "'Empty' "}));
    EXPECT_EQ(row("Lines", 0), "'FXS1' '030' ");
    EXPECT_EQ(row("Account", 0), "1 '030' '' ");
    EXPECT_EQ(row("Itself", 0), "8");
    EXPECT_EQ(rowOf("Over", "Line", "FXS1"), "8");
    for (const std::string sView : {"Over", "Empty"}) {
        const bool bEmpty = sView == "Empty"; // has rows, without a cell
        EXPECT_EQ(size(sView), bEmpty ? 1U : 0U);
        EXPECT_EQ(row(sView, 0), bEmpty ? "" : "10");
        EXPECT_EQ(inBulk(sView), bEmpty ? Rows{""} : Rows{});
        ColumnList lSchema;
        EXPECT_EQ(m_oDispatcher.getSchema(lSchema, this, sView), EResultCode::Success);
        EXPECT_TRUE(lSchema.empty());
    }
}

TEST_F(TableViewPlugin, AColumnOfTheJoinThatDoesNotExistIsToldInOneLine)
{
    view("(2, 'Second', 'Account', 'Id', 'Line', 'AccountID'), (3, 'First', 'Account', 'Idd', 'Line', 'Id'),"
         "(4, 'Alias', 'Account', 'ROWID', 'Line', 'AccountId'), (5, 'Zones', 'Zone', 'Nme', 'Zone', 'Id')");
    columns("('Line', 2, 'Name')", "2, 3, 4, 5");
    accounts("(1, '030', ''), (2, '031', '')");
    lines("(1, 'FXS1', 1, ''), (2, 'FXS2', 2, '')");
    EXPECT_EQ(logOf([&] { start(); }),
              "error TableView View `Second` names a column that the schema of `Line` lacks: `AccountID`\n"
              "error TableView View `First` names a column that the schema of `Account` lacks: `Idd`\n"
              "error TableView View `Zones` has no rows: there is no table `Zone`\n"
              "error TableView Could not subcribe for tables\n");
    EXPECT_EQ(logOf([&] {
                  for (const char* pView : {"Second", "First"}) {
                      EXPECT_EQ(size(pView), 0U);
                      EXPECT_EQ(inBulk(pView), Rows{});
                      EXPECT_EQ(row(pView, 0), "10");
                      EXPECT_EQ(rowOf(pView, "Line", "FXS1"), "10");
                  }
              }),
              "");
    EXPECT_EQ(inBulk("Alias"), (Rows{"'FXS1' ", "'FXS2' "})); // which every database takes as a key

    RecordingPlugin::Calls lCalls;
    RecordingPlugin oZones("zones", {"Zone"}, lCalls);
    m_oDispatcher.attachTables(oZones);
    EXPECT_EQ(logOf([&] { endPass(); }),
              "error TableView View `Zones` names a column that the schema of `Zone` lacks: `Nme`\n");

    logOf([&] { m_oDispatcher.close(this); }); // while others may change the databases
    sql("common.db", "ALTER TABLE Line RENAME COLUMN AccountId TO AccountID");
    m_oDispatcher.open(this);
    EXPECT_EQ(logOf([&] {
                  EXPECT_EQ(inBulk("Second"), (Rows{"'FXS1' ", "'FXS2' "}));
              }),
              "error TableView View `Lines` names a column that the schema of `Line` lacks: `AccountId`\n"
              "error TableView View `Alias` names a column that the schema of `Line` lacks: `AccountId`\n");
}

TEST_F(TableViewPlugin, ARowNumberThatTheTableLacksIsToldOnceAndNotForEachRow)
{
    sql("phone.db", "CREATE TABLE Bare (Id INTEGER PRIMARY KEY, Number TEXT) WITHOUT ROWID;"
                    "INSERT INTO Bare VALUES (1, '030')");
    view("(2, 'OfBare', 'Bare', 'rowid', 'Line', 'AccountId'), (3, 'Whole', 'Account', '_rowid_', 'Line', "
         "'Id')");
    columns("('Line', 2, 'Name')", "2, 3");
    accounts("(1, '030', '')");
    lines("(1, 'FXS1', 1, ''), (2, 'FXS2', 2, '')");
    EXPECT_EQ(logOf([&] {
                  start();
                  EXPECT_EQ(inBulk("OfBare"), Rows{});
                  EXPECT_EQ(size("OfBare"), 0U);
                  EXPECT_EQ(inBulk("Whole"), Rows{"'FXS1' "});
              }),
              "error TableView View `OfBare` names a column that the schema of `Bare` lacks: `rowid`\n");
}

TEST_F(TableViewPlugin, AViewIsServedWholeOrNotAtAllHoweverManyThereAre)
{
    const auto many = [](int a_iLast) {
        return "WITH RECURSIVE n(i) AS (SELECT 2 UNION ALL SELECT i + 1 FROM n LIMIT " +
               std::to_string(a_iLast - 1) + ") ";
    };
    sql("common.db",
        many(300) + "INSERT INTO ViewNames SELECT i, 'V' || i, 'Account', 'Id', 'Line', 'Id' FROM n");
    for (int i = 1; i <= 16; ++i) {
        sql("common.db", many(300) + "INSERT INTO ViewColumns SELECT 'C" + std::to_string(i) +
                             "', i, 2, 'Name', NULL FROM n");
    }
    view("(301, 'TooWide', 'Account', 'Id', 'Line', 'Id'), (302, 'Last', 'Account', 'Id', 'Line', 'Id')");
    sql("common.db", "INSERT INTO ViewColumns VALUES (hex(zeroblob(3000000)), 301, 2, 'Name', NULL)");
    columns("('Line', 2, 'Name')", "301, 302");
    sql("common.db", "INSERT INTO ViewNames VALUES (303, hex(zeroblob(3000000)), 'A', 'Id', 'Line', 'Id'),"
                     " (304, 'Behind', 'Account', 'Id', 'Line', 'Id')");
    EXPECT_EQ(logOf([&] { start(); }),
              "error TableView View `TooWide` is left out: there is no room for all its columns\n"
              "error TableView The last 2 views are left out: all may take 4096 KiB\n");
    EXPECT_EQ(inBulk("RegisteredViews").size(), 301U);
    for (const std::string sView : {"V67", "V300"}) {
        ColumnList lSchema;
        m_oDispatcher.getSchema(lSchema, this, sView);
        EXPECT_EQ(lSchema.size(), 16U);
    }
    EXPECT_EQ(row("TooWide", 0), "8");
    EXPECT_EQ(size("Last"), 0U);
}

TEST_F(TableViewPlugin, AViewOfAViewIsServedAndFollowsAllItsTables)
{
    view("(2, 'Owners', 'Lines', 'Line', 'Owner', 'Line'), (3, 'Pairs', 'Owners', 'Line', 'Owners', 'Line'),"
         "(4, 'Own', 'Owner', 'Line', 'Lines', 'Line')");
    columns("('Owner', 2, 'Name'), ('Line', 1, 'Line'), ('Number', 1, 'Number')", "2");
    columns("('Owner', 1, 'Owner'), ('Number', 2, 'Number')", "3");
    columns("('Owner', 1, 'Name'), ('Number', 2, 'Number')", "4");
    sql("phone.db", "CREATE TABLE Owner (Id INTEGER PRIMARY KEY, Name TEXT, Line TEXT);"
                    "INSERT INTO Owner VALUES (1, 'Ann', 'FXS2'), (2, 'Bob', 'none'), (3, 'Cid', 'FXS1')");
    accounts("(1, '030', ''), (2, '031', ''), (3, '032', '')");
    lines("(1, 'FXS1', 1, ''), (2, 'FXS2', 2, ''), (3, 'FXS3', 3, '')");
    EXPECT_EQ(logOf([&] { start(); }), "");
    EXPECT_EQ(inBulk("Owners"), (Rows{"'Ann' 'FXS2' '031' ", "'Cid' 'FXS1' '030' "}));
    EXPECT_EQ(inBulk("Pairs"), (Rows{"'Ann' '031' ", "'Cid' '030' "}));
    EXPECT_EQ(rowByRow("Own"), (Rows{"'Cid' '030' ", "'Ann' '031' "}));
    EXPECT_EQ(size("Pairs"), 2U);
    EXPECT_EQ(rowOf("Pairs", "Number", "030"), "'Cid' '030' ");
    ColumnList lSchema;
    m_oDispatcher.getSchema(lSchema, this, "Pairs");
    EXPECT_EQ(lSchema.getColumn("Number")->second, EDataType::Text);

    endPass();
    std::set<std::string> lTold;
    configmanager::serverlib::GenericSubscriber oClient(
        m_oDispatcher, "client",
        [&](const NameList& a_lTables) { lTold.insert(a_lTables.begin(), a_lTables.end()); });
    m_oDispatcher.subscribe(oClient, {"Lines", "Owners", "Pairs", "Own"});
    std::unique_ptr<IRowCursor> pRows;
    ASSERT_EQ(m_oDispatcher.openRows(pRows, this, "Pairs", 0, 9, {}), EResultCode::Success);
    EXPECT_EQ(row("Pairs", 0), "'Ann' '031' ");
    EXPECT_EQ(update("Account", "Number", "039"), EResultCode::Success);
    EXPECT_EQ(row("Pairs", 1), "'Cid' '039' "); // before anybody is told
    RowTexts oSink;
    EXPECT_EQ(pRows->fetch(oSink), EResultCode::Busy);
    endPass();
    EXPECT_EQ(lTold, (std::set<std::string>{"Lines", "Owners", "Pairs", "Own"}));
}

TEST_F(TableViewPlugin, MoreLevelsOfViewsThanTheBoundAreLeftOut)
{
    std::string sBelow = "Lines";
    for (int i = 2; i <= 9; ++i) {
        const std::string sName = "V" + std::to_string(i);
        const std::string sSides = "', '" + sBelow + "', 'Line'";
        view("(" + std::to_string(i) + ", '" + sName + sSides + ", '" + sBelow + "', 'Line')");
        columns("('Line', 1, 'Line')", std::to_string(i));
        sBelow = sName;
    }
    accounts("(1, '030', '')");
    lines("(1, 'FXS1', 1, '')");
    EXPECT_EQ(logOf([&] { start(); }),
              "error TableView View `V9` is left out: it is made of more than 7 levels of views\n");
    linesPlugin().m_iReads = 0;
    EXPECT_EQ(inBulk("V8"), Rows{"'FXS1' "});
    EXPECT_LT(linesPlugin().m_iReads, 300U); // twice as many with each level, for each view has two tables
}

TEST_F(TableViewPlugin, ColumnOfNeitherTableFailsAssertionsWhereverItIsTouched)
{
    columns("('Odd', 3, 'Name')");
    accounts("(1, '030', '')");
    lines("(1, 'FXS1', 1, '')");
    EXPECT_EQ(logOf([&] { start(); }), "error TableView View `Lines` cannot show `Odd`: it is of table 3\n");
    const auto failure = [](const auto& a_oOperation) -> std::string {
        try {
            a_oOperation();
        } catch (const zel::error::AssertionError& oError) {
            return oError.what();
        }
        return "";
    };
    ColumnList lSchema;
    EXPECT_THAT(failure([&] { m_oDispatcher.getSchema(lSchema, this, "Lines"); }),
                HasSubstr("1 == a_index || 2 == a_index"));
    EXPECT_THAT(failure([&] { size("Lines"); }), HasSubstr("illegalDefault()"));
    EXPECT_THAT(failure([&] { row("Lines", 0); }), HasSubstr("illegalDefault()"));
    EXPECT_THAT(failure([&] { inBulk("Lines"); }), HasSubstr("illegalDefault()"));
    EXPECT_THAT(failure([&] { rowOf("Lines", "Odd", "FXS1", {"Line"}); }), HasSubstr("illegalDefault()"));
    EXPECT_EQ(row("Lines", 0, {"Line"}), "'FXS1' ");
}

TEST_F(TableViewPlugin, BulkReadsAndKeysFindWhatAScanByPositionFinds)
{
    std::mt19937 oRandom(7);
    const auto number = [&](unsigned a_iBelow) { return std::to_string(oRandom() % a_iBelow); };
    const char* aTexts[] = {"'a'", "'A'", "'5'", "'05'", "''", "NULL", "'b c'"};
    const auto text = [&] { return aTexts[oRandom() % std::size(aTexts)]; };
    std::string sAccounts = "(0, 'default', 'b c')", sLines;
    for (int i = 1; i <= 60; ++i) {
        sAccounts += ", (" + std::to_string(3 * i) + ", " + text() + ", " + text() + ")";
        sLines += (i == 1 ? "(" : ", (") + std::to_string(200 - i) + ", " + text() + ", " +
                  (oRandom() % 5 == 0 ? "NULL" : number(200)) + ", " + text() + ")";
    }
    accounts(sAccounts);
    lines(sLines);
    // What a key finds in the tables first is in no view, and what the views show of big numbers finds none.
    const std::pair<const char*, const char*> aTables[] = {{"phone.db", "Account"}, {"common.db", "Line"}};
    for (const auto& [pFile, pTable] : aTables) {
        const std::string sTable = pTable;
        sql(pFile, "ALTER TABLE " + sTable + " ADD COLUMN Tag TEXT COLLATE NOCASE DEFAULT 'abc';" +
                       "ALTER TABLE " + sTable + " ADD COLUMN Big INTEGER DEFAULT 4294967301;" +
                       "INSERT INTO " + sTable + " (Id, Code, Tag) VALUES (-1, '" + sTable + "', 'ABC')");
    }
    sql("common.db", "UPDATE Line SET AccountId = 0 WHERE Id IN (150, 160)");
    sql("common.db", "UPDATE Line SET Tag = 'ABC' WHERE Id > 170"); // after others that differ in case alone
    sql("phone.db", "UPDATE Account SET Tag = 'ABC' WHERE Id > 90");
    view(
        "(2, 'Codes', 'Account', 'Code', 'Line', 'Code'), (3, 'Back', 'Line', 'AccountId', 'Account', 'Id')");
    columns("('AccountId', 2, 'AccountId'), ('Account', 1, 'Id')");
    columns(
        "('First', 1, 'Id'), ('FirstCode', 1, 'Code'), ('Second', 2, 'Id'), ('SecondCode', 2, 'Code'),"
        "('FirstTag', 1, 'Tag'), ('SecondTag', 2, 'Tag'), ('FirstBig', 1, 'Big'), ('SecondBig', 2, 'Big')",
        "2, 3");
    start();
    for (const std::string sView : {"Lines", "Codes", "Back"}) {
        const Rows lRows = rowByRow(sView);
        EXPECT_GT(lRows.size(), 5U);
        EXPECT_EQ(size(sView), lRows.size());
        EXPECT_EQ(inBulk(sView), lRows);
        EXPECT_EQ(inBulk(sView, 2, 3), Rows(lRows.begin() + 2, lRows.begin() + 5));
        ColumnList lSchema;
        m_oDispatcher.getSchema(lSchema, this, sView);
        for (const auto& [sColumn, eType] : lSchema) {
            const Rows lCells = inBulk(sView, 0, systema::c_iAllRows, {sColumn});
            for (const auto& sCell : lCells) {
                if (sCell != "null ") { // which no key names
                    const auto iFirst = std::ranges::find(lCells, sCell) - lCells.begin();
                    const std::size_t iQuote = sCell.front() == '\'';
                    const std::string sKey = sCell.substr(iQuote, sCell.size() - 1 - 2 * iQuote);
                    EXPECT_EQ(rowOf(sView, sColumn, sKey), lRows[static_cast<std::size_t>(iFirst)])
                        << sView << " " << sColumn << " " << sKey;
                }
            }
            EXPECT_EQ(rowOf(sView, sColumn, "no such"), "10");
        }
    }
}

TEST_F(TableViewPlugin, Table1IsReadOnceThoughItHasNoIndexForTheJoin)
{
    constexpr unsigned int c_iRows = 3000;
    sql("phone.db", "CREATE TABLE Owner (Id INTEGER PRIMARY KEY, Code INTEGER, Name TEXT)");
    sql("phone.db", "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 3000)"
                    " INSERT INTO Owner SELECT i, 2 * i, 'o' || i FROM n");
    sql("common.db", "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 3000)"
                     " INSERT INTO Line SELECT i, 'l' || i, 4 + i * 1007 % 3000, '' FROM n");
    view("(2, 'Owned', 'Owner', 'Code', 'Line', 'AccountId')");
    columns("('Line', 2, 'Name'), ('Owner', 1, 'Name')", "2");
    start();
    const auto lookUps = [&] { return std::exchange(accountsPlugin().m_iLookUps, 0); };
    lookUps();
    EXPECT_EQ(size("Owned"), c_iRows / 2); // for the others there is none: every other number is odd
    EXPECT_LE(lookUps(), zel::TableViewCursor::c_iMostLookUps);
    const Rows lRows = inBulk("Owned");
    EXPECT_EQ(lRows.size(), c_iRows / 2);
    EXPECT_LE(lookUps(), zel::TableViewCursor::c_iMostLookUps);
    EXPECT_EQ(rowOf("Owned", "Line", "l3000"), lRows.back());
    EXPECT_LE(lookUps(), zel::TableViewCursor::c_iMostLookUps);

    // Positions one after the other go on where the last one was.
    linesPlugin().m_iReads = 0;
    EXPECT_EQ(rowByRow("Owned"), lRows);
    EXPECT_LE(lookUps(), zel::TableViewCursor::c_iMostLookUps);
    EXPECT_EQ(linesPlugin().m_iReads, 1U);
    EXPECT_EQ(row("Owned", 7), lRows[7]);
    EXPECT_EQ(row("Owned", 9), lRows[9]);
    EXPECT_EQ(update("ViewColumns", "ColName", "x"), EResultCode::Success); // in the database of table 2
    EXPECT_EQ(row("Owned", 10), lRows[10]);
    EXPECT_EQ(m_oDispatcher.startTransaction(this), EResultCode::Success);
    EXPECT_EQ(m_oDispatcher.deleteKey(this, "Line", "Id", "1"), EResultCode::Success);
    EXPECT_NE(row("Owned", 11, {"Line"}), "10");
    const std::string sInTransaction = row("Owned", 12);
    EXPECT_EQ(m_oDispatcher.rollbackTransaction(this), EResultCode::Success);
    EXPECT_EQ(row("Owned", 13), lRows[13]);
    logOf([&] { m_oDispatcher.close(this); });
    sql("phone.db", "UPDATE Owner SET Name = 'new'");
    m_oDispatcher.open(this);
    EXPECT_THAT(row("Owned", 14), testing::EndsWith("'new' "));
    endPass();
    endPass(); // what nobody goes on with is given back
    linesPlugin().m_iReads = 0;
    EXPECT_THAT(row("Owned", 15), testing::EndsWith("'new' "));
    EXPECT_EQ(linesPlugin().m_iReads, 1U);
}

TEST_F(TableViewPlugin, PartnersReadAtOnceAreThoseThatKeysFind)
{
    // Of each column the cells that differ from the text that they show, or are equal to others.
    sql("phone.db", "CREATE TABLE Odd (Id INTEGER, Number INTEGER, Big UNSIGNED INT, Exact TEXT, AnyCase "
                    "TEXT COLLATE NOCASE,"
                    " Trimmed TEXT COLLATE RTRIM, Bare, Real REAL);"
                    "CREATE INDEX ByNumber ON Odd (AnyCase);"
                    "INSERT INTO Odd (Id, Exact, Number) VALUES (0, 'hidden', 77), (NULL, 'null', 78)");
    const char* aCells[] = {"'5'",        "'05'",   "' 5'", "5",         "5.5",      "'5.0'",
                            "4294967301", "-1",     "NULL", "x'35'",     "'ab'",     "'AB'",
                            "'aB '",      "'ab '",  "''",   "'O''Neil'", "0",        "'ab'||char(0)||'c'",
                            "4294967295", "'null'", "77",   "78",        "'hidden'", "'5'",
                            "'O''''Neil'"};
    sql("common.db", "ALTER TABLE Line ADD COLUMN Key TEXT; ALTER TABLE Line ADD COLUMN Number INTEGER");
    for (int i = 1; i <= 9; ++i) { // looked up by key whatever there is
        const std::string sNumber = std::to_string(i);
        sql("common.db", "INSERT INTO Line (Key, Number) VALUES ('x" + sNumber + "', -1" + sNumber + ")");
    }
    int iId = 0;
    for (const std::string sCell : aCells) {
        sql("common.db", "INSERT INTO Line (Key, Number) VALUES (" + sCell + ", " + sCell + ")");
        std::string sRow = std::to_string(++iId);
        for (int i = 0; i < 7; ++i) {
            sRow += ", " + sCell;
        }
        sql("phone.db", "INSERT INTO Odd VALUES (" + sRow + ")");
    }
    sql("phone.db", "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 20)"
                    " INSERT INTO Odd (Id, Exact) SELECT 100 + i, 'filler' FROM n");
    int iView = 1;
    Rows lViews;
    for (const std::string sColumn : {"Id", "Number", "Big", "Exact", "AnyCase", "Trimmed", "Bare", "Real"}) {
        for (const std::string sKey : {"Key", "Number"}) {
            lViews.push_back(sColumn + sKey);
            view("(" + std::to_string(++iView) + ", '" + lViews.back() + "', 'Odd', '" + sColumn +
                 "', 'Line', '" + sKey + "')");
            columns("('Line', 2, 'Id'), ('Found', 1, 'Id'), ('Cell', 1, '" + sColumn + "')",
                    std::to_string(iView));
        }
    }
    attachStored();
    m_oDispatcher.initialize();
    zel::TableViewPlugin oAtOnce(m_oDispatcher, false);
    zel::TableViewPlugin oByKey(m_oDispatcher, false, zel::TableViewPlugin::c_oCeiling, 0);
    zel::TableViewPlugin oHalf(m_oDispatcher, false, zel::TableViewPlugin::c_oCeiling, 2500); // of the memory
    oHalf.initialize();
    oAtOnce.initialize();
    oByKey.initialize();
    logOf([&] {
        std::size_t iRows = 0;
        for (const auto& sView : lViews) {
            const Rows lRows = inBulk(oAtOnce, sView);
            EXPECT_EQ(lRows, inBulk(oByKey, sView)) << sView;
            EXPECT_EQ(lRows, inBulk(oHalf, sView)) << sView;
            iRows += lRows.size();
        }
        EXPECT_GT(iRows, 100U);
    });
    EXPECT_THAT(inBulk(oByKey, "ExactKey"), testing::AllOf(testing::Contains(HasSubstr(" 16 'O'Neil'")),
                                                           testing::Contains(HasSubstr(" 25 'O''Neil'"))));
    accountsPlugin().m_iLookUps = 0;
    inBulk(oAtOnce, "ExactKey");
    EXPECT_LT(accountsPlugin().m_iLookUps, 12U); // those before, and 0
}

TEST_F(TableViewPlugin, AViewOfATableThatFailsIsNotEmptyWithoutAWord)
{
    RecordingPlugin::Calls lCalls;
    RecordingPlugin oFailing("failing", {"Radio"}, lCalls);
    oFailing.m_mResults["getSize"] = EResultCode::Failure;
    m_oDispatcher.attachTables(oFailing);
    view("(2, 'Networks', 'Line', 'Id', 'Radio', 'Id')");
    columns("('Name', 2, 'Name')", "2");
    lines("(1, 'FXS1', 1, '')");
    start();
    EXPECT_EQ(logOf([&] {
                  EXPECT_EQ(inBulk("Networks"), Rows{"1"});
                  EXPECT_EQ(size("Networks"), 0U);
              }),
              "error TableView View `Networks` has no rows: a table of it gives: " +
                  std::string(EResultCode(EResultCode::Failure).strerror()) + "\n");
}

TEST_F(TableViewPlugin, AnnouncesAViewOnceForAllChangesOfItsSources)
{
    view("(2, 'Definitions', 'ViewNames', 'Id', 'ViewColumns', 'ViewNamesId')");
    columns("('Column', 2, 'ColName')", "2");
    accounts("(1, '030', '')");
    lines("(1, 'FXS1', 1, '')");
    start();
    Rows lTold;
    configmanager::serverlib::GenericSubscriber oClient(
        m_oDispatcher, "client",
        [&](const NameList& a_lTables) { lTold.insert(lTold.end(), a_lTables.begin(), a_lTables.end()); });
    m_oDispatcher.subscribe(oClient, {"Lines", "Definitions"});
    const auto pass = [&] {
        endPass();
        return std::exchange(lTold, {});
    };
    EXPECT_EQ(pass(), Rows{});
    EXPECT_EQ(update("Account", "Number", "031"), EResultCode::Success);
    EXPECT_EQ(update("Line", "Name", "FXS9"), EResultCode::Success);
    EXPECT_EQ(update("Line", "Name", "FXS8"), EResultCode::Success);
    EXPECT_EQ(pass(), Rows{"Lines"});
    EXPECT_EQ(pass(), Rows{});
    EXPECT_EQ(
        logOf([&] {
            EXPECT_EQ(update("ViewNames", "Name", "Renamed"), EResultCode::Success);
            EXPECT_EQ(pass(), Rows{"Definitions"});
        }),
        "warning TableView The definitions of views have changed: the next start makes the views of them\n");
    m_oDispatcher.initialize();
    EXPECT_EQ(row("Lines", 0), "'FXS8' '031' "); // the definitions are those of the start
}

TEST_F(TableViewPlugin, BulkReadOvertakenByAChangeOfEitherTableGivesBusy)
{
    accounts("(1, '030', ''), (2, '031', '')");
    lines("(1, 'FXS1', 1, ''), (2, 'FXS2', 1, '')");
    start();
    for (const char* pTable : {"Account", "Line", ""}) {
        std::unique_ptr<IRowCursor> pRows;
        ASSERT_EQ(m_oDispatcher.openRows(pRows, this, "Lines", 0, 9, {"Line"}), EResultCode::Success);
        RowTexts oSink(1);
        EXPECT_EQ(pRows->fetch(oSink), EResultCode::Success);
        if (*pTable != '\0') {
            EXPECT_EQ(update(pTable, "Code", "x"), EResultCode::Success);
            EXPECT_EQ(pRows->fetch(oSink), EResultCode::Busy);
        } else {
            EXPECT_EQ(pRows->fetch(oSink), EResultCode::Success);
            EXPECT_EQ(pRows->fetch(oSink), EResultCode::NoRow);
            EXPECT_EQ(oSink.m_lRows, (Rows{"'FXS1' ", "'FXS2' "}));
        }
    }
}

TEST_F(TableViewPlugin, HoldSpoilsABulkReadAndALostTransactionEveryReadOfItsOwner)
{
    accounts("(1, '030', '')");
    lines("(1, 'FXS1', 1, ''), (2, 'FXS2', 1, '')");
    start();
    std::unique_ptr<IRowCursor> pRows;
    EXPECT_EQ(m_oDispatcher.startTransaction(this), EResultCode::Success);
    EXPECT_EQ(update("Account", "Number", "031"), EResultCode::Success);
    ASSERT_EQ(m_oDispatcher.openRows(pRows, this, "Lines", 0, 9, {}), EResultCode::Success);
    EXPECT_EQ(row("Lines", 0), "'FXS1' '031' ");
    logOf([&] { m_oDispatcher.close(this); });
    m_oDispatcher.open(this);
    RowTexts oSink;
    EXPECT_EQ(pRows->fetch(oSink), EResultCode::Busy);
    EXPECT_EQ(row("Lines", 0), "1");
    EXPECT_EQ(m_oDispatcher.rollbackTransaction(this), EResultCode::Failure);
    EXPECT_EQ(row("Lines", 0), "'FXS1' '030' ");
}

TEST_F(TableViewPlugin, ViewThatItsOwnSourceReadsIsEmptyThen)
{
    RecordingPlugin::Calls lCalls;
    RecordingPlugin oAsking("asking", {"Asking"}, lCalls);
    oAsking.m_lRows = {tests::row({{"Id", 1}, {"Name", "zone"}}), tests::row({{"Id", 1}, {"Name", "zone"}})};
    m_oDispatcher.attachTables(oAsking);
    view("(2, 'Zones', 'Asking', 'Id', 'Asking', 'Id')");
    columns("('Name', 2, 'Name')", "2");
    accounts("(1, '030', '')");
    lines("(1, 'FXS1', 1, '')");
    start();
    std::unique_ptr<IRowCursor> pOpened;
    oAsking.m_oOnCall = [&] {
        RowTexts oSink;
        EXPECT_EQ(size("Zones"), 0U);
        EXPECT_EQ(row("Zones", 0), "10");
        EXPECT_EQ(rowOf("Zones", "Name", "zone"), "10");
        EXPECT_EQ(inBulk("Zones"), Rows{});
        ColumnList lSchema;
        m_oDispatcher.getSchema(lSchema, this, "Zones");
        EXPECT_TRUE(lSchema.empty());
        EXPECT_TRUE(pOpened == nullptr || pOpened->fetch(oSink) == EResultCode::NoRow);
        EXPECT_EQ(row("Lines", 0), "'FXS1' '030' ");
    };
    EXPECT_EQ(m_oDispatcher.openRows(pOpened, this, "Zones", 0, 9, {}), EResultCode::Success);
    EXPECT_EQ(size("Zones"), 2U);
    EXPECT_EQ(rowOf("Zones", "Name", "zone"), "'zone' ");
    EXPECT_EQ(inBulk("Zones"), (Rows{"'zone' ", "'zone' "}));
    RowTexts oSink;
    EXPECT_EQ(pOpened->fetch(oSink), EResultCode::NoRow);
    EXPECT_EQ(oSink.m_lRows, (Rows{"'zone' ", "'zone' "})); // those that asked meanwhile took none
    oAsking.m_sThrows = "selectKey";
    EXPECT_ANY_THROW(size("Zones"));
    oAsking.m_sThrows.clear();
    EXPECT_EQ(size("Zones"), 2U);
    oAsking.m_mResults["selectRow"] = EResultCode::Failure;
    EXPECT_EQ(size("Zones"), 0U);
    EXPECT_EQ(row("Zones", 0), "1");
}

TEST_F(TableViewPlugin, ViewOfATableWhoseAnswerIsPendingIsNotShownWithoutItsRows)
{
    RecordingPlugin::Calls lCalls;
    RecordingPlugin oSlow("slow", {"Slow"}, lCalls);
    oSlow.m_lRows = {tests::row({{"Id", 1}, {"Name", "zone"}})};
    m_oDispatcher.attachTables(oSlow);
    view("(2, 'Zones', 'Slow', 'Id', 'Slow', 'Id')");
    columns("('Name', 2, 'Name')", "2");
    start();
    const std::string sPending = std::to_string(EResultCode::Pending);
    for (const char* pOperation : {"getSize", "selectRow", "selectKey"}) {
        oSlow.m_mResults = {{pOperation, EResultCode::Pending}};
        unsigned int iSize = 0;
        EXPECT_EQ(m_oDispatcher.getSize(iSize, this, "Zones"), EResultCode::Pending) << pOperation;
        EXPECT_EQ(row("Zones", 0), sPending) << pOperation;
        EXPECT_EQ(rowOf("Zones", "Name", "zone"), sPending) << pOperation;
    }
    oSlow.m_mResults.clear();
    EXPECT_EQ(size("Zones"), 1U);
    EXPECT_EQ(rowOf("Zones", "Name", "zone"), "'zone' ");
}

TEST_F(TableViewPlugin, OnlyBulkReadsMayTakeLongerThanTheCeiling)
{
    accounts("(1, '030', '')");
    lines("(1, 'FXS1', 1, '')");
    start(std::chrono::milliseconds(0));
    EXPECT_EQ(logOf([&] {
                  unsigned int iSize;
                  EXPECT_EQ(m_oDispatcher.getSize(iSize, this, "Lines"), EResultCode::Failure);
                  EXPECT_EQ(row("Lines", 0), "1");
                  EXPECT_EQ(rowOf("Lines", "Line", "FXS1"), "1");
              }),
              "error TableView View `Lines` takes too long\n");
    EXPECT_EQ(inBulk("Lines"), Rows{"'FXS1' '030' "});
}

TEST_F(TableViewPlugin, AFetchEndsWhenItsTimeIsOverThoughNoRowHasAPartner)
{
    RecordingPlugin::Calls lCalls;
    RecordingPlugin oSlow("slow", {"Slow"}, lCalls);
    oSlow.m_lRows.resize(2);
    oSlow.m_mResults["selectKey"] = EResultCode::NoRow;
    oSlow.m_oOnCall = [] {
        const auto oEnd = std::chrono::steady_clock::now() + systema::c_oFetchTime;
        while (std::chrono::steady_clock::now() < oEnd) {
        }
    };
    m_oDispatcher.attachTables(oSlow);
    view("(2, 'Late', 'Slow', 'Id', 'Line', 'Id')");
    columns("('Line', 2, 'Name')", "2");
    lines("(1, 'FXS1', 1, ''), (2, 'FXS2', 1, '')");
    start();
    std::unique_ptr<IRowCursor> pRows;
    ASSERT_EQ(m_oDispatcher.openRows(pRows, this, "Late", 0, 9, {}), EResultCode::Success);
    RowTexts oSink;
    EXPECT_EQ(pRows->fetch(oSink), EResultCode::Success);
    EXPECT_EQ(pRows->fetch(oSink), EResultCode::Success);
    EXPECT_EQ(pRows->fetch(oSink), EResultCode::NoRow);
    EXPECT_TRUE(oSink.m_lRows.empty());
}

TEST_F(TableViewPlugin, RegisteredViewsHoldsNamesThoughItsSizeIs0)
{
    view("(2, 'Second', 'Account', 'Id', 'Line', 'Id'), (3, 'Third', 'Account', 'Id', 'Line', 'Id')");
    logOf([&] { start(); });
    const std::string sTable = "RegisteredViews";
    NameList lTables;
    m_pPlugin->getTables(lTables, this);
    EXPECT_EQ(lTables, (NameList{sTable, "Lines", "Second", "Third"}));
    EXPECT_EQ(size(sTable), 0U);
    EXPECT_EQ(rowByRow(sTable), (Rows{"'Lines' ", "'Second' ", "'Third' "}));
    EXPECT_EQ(inBulk(sTable), (Rows{"'Lines' ", "'Second' ", "'Third' "}));
    EXPECT_EQ(inBulk(sTable, 1, 1, {"Name", "Name"}), Rows{"'Second' 'Second' "});
    EXPECT_EQ(inBulk(sTable, 4), Rows{});
    EXPECT_EQ(inBulk(sTable, 0, 1, {"Id"}), Rows{"9"});
    EXPECT_EQ(rowOf(sTable, "Name", "Third"), "'Third' ");
    EXPECT_EQ(rowOf(sTable, "Name", "third"), "10");
    EXPECT_EQ(rowOf(sTable, "Id", "Third"), "9");
}
