#include "storage/sqliteconnection.h"

#include "tests/row.h"
#include "tests/unit/storage/database.h"
#include "zel/assert.h"

using namespace systema;
using testing::ElementsAre;
using tests::failure;
using tests::logged;

namespace {

using SqliteConnectionTest = tests::DatabaseTest;

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

TEST_F(SqliteConnectionTest, mapsTheCodesOfSqlite)
{
    const std::pair<int, unsigned> aCases[] = {{1, 8},  {5, 2},  {6, 3},  {8, 4},   {15, 5},  {19, 6},
                                               {20, 7}, {2, 1},  {11, 1}, {21, 1},  {26, 1},  {99, 1},
                                               {13, 1}, {-1, 1}, {0, 0},  {100, 0}, {101, 0}, {526, 0}};
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
    logged([&] {
        unsigned iSize = 0;
        int iId = 0;
        ValueList lRow;
        EXPECT_EQ(oDatabase.getSize(iSize, "T"), 1U);
        EXPECT_EQ(oDatabase.selectKey(lRow, "T", "Id", "1", {}), 1U);
        EXPECT_EQ(oDatabase.insertKey(iId, "T", tests::row({{"Id", 1}})), 1U);
        EXPECT_EQ(oDatabase.updateRow("T", 0, tests::row({{"Id", 2}})), 1U);
        EXPECT_EQ(oDatabase.deleteKey("T", "Id", "1"), 1U);
    });
    oDatabase.open();
    EXPECT_TRUE(oDatabase.isOpen());
    EXPECT_EQ(oDatabase.getName(), c_pName);
}
