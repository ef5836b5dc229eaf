#include "storage/sqliteplugin.h"

#include "tests/row.h"
#include "tests/unit/storage/database.h"

#include <functional>

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

    const int m_iOne = 1;
    const int m_iTwo = 2;
    const void* const m_pOne = &m_iOne;
    const void* const m_pTwo = &m_iTwo;
};

const std::function<EResultCode(SqlitePlugin&, const void*)> c_aWrites[] = {
    [](SqlitePlugin& p, const void* h) {
        return p.insertRow(h, "T", row({{"Name", "d"}}));
    },
    [](SqlitePlugin& p, const void* h) {
        int iId = 0;
        return p.insertKey(iId, h, "T", row({{"Name", "e"}}));
    },
    [](SqlitePlugin& p, const void* h) {
        return p.updateRow(h, "T", 0, row({{"Name", "f"}}));
    },
    [](SqlitePlugin& p, const void* h) {
        return p.updateKey(h, "T", "Id", "2", row({{"Name", "g"}}));
    },
    [](SqlitePlugin& p, const void* h) { return p.deleteRow(h, "T", 0); },
    [](SqlitePlugin& p, const void* h) { return p.deleteKey(h, "T", "Id", "3"); },
    [](SqlitePlugin& p, const void* h) { return p.deleteAll(h, "T"); },
};

} // namespace

TEST_F(SqlitePluginTest, onlyTheWriteOwnerWritesAndEverybodyReads)
{
    SqlitePlugin oPlugin = plugin();
    EXPECT_TRUE(oPlugin.canWrite(m_pOne));
    oPlugin.setWriteOwner(m_pOne);
    EXPECT_TRUE(oPlugin.canWrite(m_pOne));
    EXPECT_FALSE(oPlugin.canWrite(m_pTwo));
    const auto lLines = logged([&] {
        for (const auto& write : c_aWrites) {
            EXPECT_EQ(write(oPlugin, m_pTwo), 2U);
        }
    });
    EXPECT_THAT(lLines, testing::IsEmpty());
    unsigned iSize = 0;
    EXPECT_EQ(oPlugin.getSize(iSize, m_pTwo, "T"), 0U);
    EXPECT_EQ(iSize, 3U);
    for (const auto& write : c_aWrites) {
        EXPECT_EQ(write(oPlugin, m_pOne), 0U);
    }
    EXPECT_EQ(oPlugin.getSize(iSize, m_pOne, "T"), 0U);
    EXPECT_EQ(iSize, 0U);
}

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
