#include "storage/sqliteplugin.h"

#include "tests/row.h"
#include "tests/unit/storage/database.h"

using namespace systema;
using tests::logged;
using tests::row;

namespace {

using SqlitePluginTest = tests::DatabaseTest;

} // namespace

TEST_F(SqlitePluginTest, writesAreRefusedAfterSqliteHasEndedTheTransactionItself)
{
    sql("CREATE TABLE Strict (Id INTEGER PRIMARY KEY ON CONFLICT ROLLBACK)");
    SqlitePlugin oPlugin(m_oDir.path(), c_pName, true, true, true);
    const auto insert = [&](int a_iId) { return oPlugin.insertRow(this, "Strict", row({{"Id", a_iId}})); };
    EXPECT_EQ(oPlugin.startTransaction(this), 0U);
    EXPECT_EQ(insert(1), 0U);
    logged([&] { EXPECT_EQ(insert(1), 6U); });
    EXPECT_EQ(insert(2), 1U);
    EXPECT_EQ(oPlugin.commitTransaction(this), 1U);
    EXPECT_EQ(insert(3), 0U);
    oPlugin.close(this);
    EXPECT_EQ(sql("SELECT Id FROM Strict"), "3|");
}
