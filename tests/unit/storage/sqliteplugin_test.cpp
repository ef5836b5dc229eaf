#include "storage/sqliteplugin.h"

#include "tests/row.h"
#include "tests/unit/storage/database.h"

using namespace systema;
using tests::logged;
using tests::row;

namespace {

class SqlitePluginTest : public tests::DatabaseTest
{
protected:
    SqlitePluginTest()
    {
        sql("CREATE TABLE T (Id INTEGER PRIMARY KEY, Name TEXT);"
            "INSERT INTO T VALUES (0, 'z'), (1, 'a'), (2, 'b'), (3, 'c')");
    }

    SqlitePlugin plugin(bool a_bUseTransactions = true, bool a_bPersistent = true) const
    {
        return SqlitePlugin(m_oDir.path(), c_pName, a_bUseTransactions, a_bPersistent, true);
    }

    const void* const m_pOne = this;
};

} // namespace

TEST_F(SqlitePluginTest, transactionsAreRealOnlyWhenUsed)
{
    for (const bool bUse : {true, false}) {
        SqlitePlugin oPlugin = plugin(bUse);
        EXPECT_EQ(oPlugin.usesTransactions(), bUse);
        EXPECT_EQ(oPlugin.startTransaction(m_pOne), 0U);
        EXPECT_EQ(oPlugin.updateKey(m_pOne, "T", "Id", "1", row({{"Name", "new"}})), 0U);
        EXPECT_EQ(oPlugin.rollbackTransaction(m_pOne), 0U);
        oPlugin.close(m_pOne);
        EXPECT_EQ(sql("SELECT Name FROM T WHERE Id = 1"), bUse ? "a|" : "new|");
        oPlugin.open(m_pOne);
        const auto lLines = logged([&] { EXPECT_EQ(oPlugin.commitTransaction(m_pOne), bUse ? 8U : 0U); });
        EXPECT_EQ(lLines.size(), bUse ? 2U : 0U);
    }
}

TEST_F(SqlitePluginTest, writesAreRefusedAfterSqliteHasEndedTheTransactionItself)
{
    sql("CREATE TABLE Strict (Id INTEGER PRIMARY KEY ON CONFLICT ROLLBACK)");
    SqlitePlugin oPlugin = plugin();
    const auto insert = [&](int a_iId) { return oPlugin.insertRow(m_pOne, "Strict", row({{"Id", a_iId}})); };
    EXPECT_EQ(oPlugin.startTransaction(m_pOne), 0U);
    EXPECT_EQ(insert(1), 0U);
    logged([&] { EXPECT_EQ(insert(1), 6U); });
    EXPECT_EQ(insert(2), 1U);
    logged([&] { EXPECT_EQ(oPlugin.commitTransaction(m_pOne), 8U); });
    EXPECT_EQ(insert(3), 0U);
    oPlugin.close(m_pOne);
    EXPECT_EQ(sql("SELECT Id FROM Strict"), "3|");
}
