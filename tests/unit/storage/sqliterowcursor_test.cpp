#include "storage/sqliterowcursor.h"

#include "tests/row.h"
#include "tests/unit/storage/database.h"
#include "tests/unit/systema/rowtexts.h"

using namespace systema;
using testing::IsEmpty;
using tests::logged;
using tests::row;

namespace {

class RowCursorTest : public tests::DatabaseTest
{
protected:
    RowCursorTest()
    {
        sql("CREATE TABLE T (Id INTEGER PRIMARY KEY, Name TEXT UNIQUE, N INTEGER UNSIGNED, B BLOB, Odd INT);"
            "INSERT INTO T VALUES (0, 'zzz', 1, 1, 1), (-3, 'y', 2, 'b', 'text'), (5, 'x', -2, NULL, 2.5),"
            " (6, NULL, 5000000000, 1, NULL), (9, CAST(x'610062' AS TEXT), 0, 0, ' 12x');"
            "CREATE TABLE Other (Id INTEGER PRIMARY KEY)");
    }

    std::unique_ptr<IRowCursor> cursor(SqliteWrapper& a_oDatabase, unsigned a_iFirst = 0,
                                       unsigned a_iCount = c_iAllRows, const NameList& a_lColumns = {})
    {
        std::unique_ptr<IRowCursor> pCursor;
        EXPECT_EQ(a_oDatabase.openRows(pCursor, "T", a_iFirst, a_iCount, a_lColumns), 0U);
        return pCursor;
    }
};

} // namespace

TEST_F(RowCursorTest, givesTheSameRowsAsPositionByPosition)
{
    for (const bool bZeroIdRow : {true, false}) {
        SqliteWrapper oDatabase = open();
        if (!bZeroIdRow) {
            EXPECT_EQ(oDatabase.exec("DELETE FROM T WHERE Id = 0"), 0U);
        }
        for (const NameList& lColumns : {NameList{}, NameList{"Name"}, NameList{"B", "id", "B", "Odd"}}) {
            for (const unsigned iFirst : {0U, 1U, 3U, 4U, 100U, 4294967295U}) {
                for (const unsigned iCount : {0U, 1U, 2U, c_iAllRows}) {
                    RowTexts oExpected;
                    NameList lNames;
                    ValueList lRow;
                    for (std::uint64_t i = iFirst; i < std::uint64_t{iFirst} + iCount; ++i) {
                        lRow.clear();
                        if (oDatabase.selectRow(lRow, "T", static_cast<unsigned>(i), lColumns) != 0U) {
                            break;
                        }
                        lNames.clear();
                        for (const auto& [sName, oValue] : lRow) {
                            lNames.add(sName);
                            oExpected.addValue(oValue);
                        }
                        oExpected.endRow();
                    }
                    const auto pCursor = cursor(oDatabase, iFirst, iCount, lColumns);
                    RowTexts oRows;
                    EXPECT_EQ(pCursor->fetch(oRows), 10U);
                    EXPECT_EQ(oRows.m_lRows, oExpected.m_lRows) << iFirst << "+" << iCount;
                    EXPECT_TRUE(lNames.empty() || lNames == pCursor->getColumns());
                }
            }
        }
    }
}

TEST_F(RowCursorTest, isOvertakenByAWriteARollbackOrAClose)
{
    const std::function<void(SqliteWrapper&)> aEvents[] = {
        [](SqliteWrapper& d) {
            d.updateKey("T", "Id", "5", row({{"Name", "new"}}));
        },
        [](SqliteWrapper& d) {
            d.insertRow("T", row({{"Name", "more"}}));
        },
        [](SqliteWrapper& d) { d.deleteAll("T"); },
        [](SqliteWrapper& d) { d.rollbackTransaction(); },
        [](SqliteWrapper& d) { d.close(); },
        [](SqliteWrapper& d) {
            d.close();
            d.open();
            d.startTransaction();
        },
    };
    for (const auto& onEvent : aEvents) {
        SqliteWrapper oDatabase = open();
        EXPECT_EQ(oDatabase.startTransaction(), 0U);
        const auto pStarted = cursor(oDatabase);
        const auto pNew = cursor(oDatabase);
        RowTexts oRows(1);
        EXPECT_EQ(pStarted->fetch(oRows), 0U);
        onEvent(oDatabase);
        for (const auto& pCursor : {pStarted.get(), pNew.get(), pStarted.get()}) {
            EXPECT_EQ(pCursor->fetch(oRows), 2U);
        }
        EXPECT_EQ(oRows.m_lRows.size(), 1U);
        oDatabase.close();
    }
}

TEST_F(RowCursorTest, outlivesTheConnectionAndTheCacheIt)
{
    SqliteWrapper oDatabase = open();
    auto pFirst = cursor(oDatabase);
    auto pSecond = cursor(oDatabase);
    RowTexts oRows(1);
    pFirst->fetch(oRows);
    oDatabase.close();
    pFirst.reset(); // its statement went with the connection
    oDatabase.open();
    pSecond.reset();
    EXPECT_EQ(cursor(oDatabase)->fetch(oRows), 0U);
}

TEST_F(RowCursorTest, isNotDisturbedByReadsRefusedWritesAndCommits)
{
    SqliteWrapper oDatabase = open();
    oDatabase.startTransaction();
    const auto pCursor = cursor(oDatabase);
    RowTexts oRows(1);
    EXPECT_EQ(pCursor->fetch(oRows), 0U);
    unsigned iSize = 0;
    oDatabase.getSize(iSize, "T");
    oDatabase.commitTransaction();
    EXPECT_EQ(pCursor->fetch(oRows), 0U);
    EXPECT_EQ(logged([&] { EXPECT_EQ(oDatabase.insertRow("T", row({{"Name", "x"}})), 6U); }).size(), 2U);
    EXPECT_EQ(pCursor->fetch(oRows), 0U);
    oDatabase.updateKey("T", "Id", "77", row({{"Name", "none"}}));
    EXPECT_EQ(pCursor->fetch(oRows), 0U);
    EXPECT_EQ(pCursor->fetch(oRows), 10U);
    EXPECT_EQ(oRows.m_lRows.size(), 4U);
}

TEST_F(RowCursorTest, noticesAnotherConnectionsChangeOfTheTable)
{
    SqliteWrapper oDatabase = open(false);
    const auto pCursor = cursor(oDatabase);
    EXPECT_EQ(sql("ALTER TABLE T ADD COLUMN More TEXT"), "");
    RowTexts oRows;
    EXPECT_EQ(pCursor->fetch(oRows), 2U);
    EXPECT_THAT(oRows.m_lRows, IsEmpty());
}
