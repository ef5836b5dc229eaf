#include "storage/sqliteconnection.h"

#include "storage/databaselimit.h"
#include "storage/sqliteplugin.h"
#include "storage/storeconfiguration.h"
#include "tests/row.h"
#include "tests/unit/storage/database.h"
#include "zel/assert.h"
#include "zel/stopflag.h"

#include <cstdlib>
#include <filesystem>
#include <sys/mount.h>

using namespace systema;
using testing::ElementsAre;
using tests::failure;
using tests::logged;

namespace {

using SqliteConnectionTest = tests::DatabaseTest;

} // namespace

TEST_F(SqliteConnectionTest, aFileThatCannotBeOpenedIsNamedBeforeTheAssertion)
{
    const auto lLines = logged([&] {
        try {
            SqliteConnection oConnection(c_pName, m_oDir.file("missing"), true);
            FAIL();
        } catch (const zel::error::AssertionError& oError) {
            EXPECT_THAT(oError.what(), testing::StartsWith("ret == 0"));
        }
    });
    EXPECT_THAT(lLines, ElementsAre(m_oDir.file("missing/test.db") +
                                    ": unable to open database file: No such file or directory"));
}

TEST_F(SqliteConnectionTest, aStopEndsWhatTakesLongAndNeverDeniesWhatWasDone)
{
    sql("CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT); WITH RECURSIVE N(I) AS (SELECT 1 UNION ALL "
        "SELECT "
        "I + 1 FROM N LIMIT 3000) INSERT INTO T SELECT I, '' FROM N");
    SqliteWrapper oDatabase = open();
    const auto insert = [&] { return oDatabase.insertRow("T", tests::row({{"Text", "x"}})); };
    EXPECT_EQ(oDatabase.startTransaction(), 0U);
    EXPECT_EQ(insert(), 0U);
    zel::requestStop();
    EXPECT_EQ(oDatabase.commitTransaction(), 0U);
    EXPECT_THAT(logged([&] { EXPECT_EQ(oDatabase.deleteAll("T"), 1U); }),
                ElementsAre("Error 9 (test.db: the statement is undone, for the daemon is to stop)",
                            failure("exec", 1)));
    EXPECT_THAT(logged([&] {
                    ValueList lRow;
                    EXPECT_EQ(oDatabase.selectKey(lRow, "T", "Text", "none", {}), 1U); // not: no such row
                    EXPECT_EQ(oDatabase.updateKey("T", "Text", "none", tests::row({{"Text", ""}})), 1U);
                }),
                testing::SizeIs(4));
    // SQLite looks at the clock at every so many instructions of a kept statement, also just after its end.
    int iInserted = 1;
    logged([&] {
        for (int i = 0; i < 500; ++i) {
            iInserted += insert() == 0U ? 1 : 0;
        }
    });
    EXPECT_GT(iInserted, 1);
    zel::clearStop();
    oDatabase.close();
    EXPECT_EQ(sql("SELECT COUNT(*) FROM T"), std::to_string(3000 + iInserted) + "|");
}

TEST_F(SqliteConnectionTest, aDatabaseDoesNotPassItsSizeAndRowsCanStillBeDeleted)
{
    constexpr std::uint64_t c_iLimit = 1024 * 1024;
    sql("CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT); CREATE TABLE Log (Id INTEGER PRIMARY KEY, Text "
        "TEXT);"
        "CREATE TRIGGER L AFTER DELETE ON T BEGIN INSERT INTO Log (Text) VALUES (hex(zeroblob(20000))); "
        "END;");
    SqlitePlugin oPlugin(m_oDir.path(), c_pName, true, true, true, c_iLimit);
    const auto insert = [&] {
        return oPlugin.insertRow(this, "T", tests::row({{"Text", std::string(4000, 'x').c_str()}}));
    };
    const auto fill = [&] {
        int iRows = 0;
        while (insert() == 0U) {
            ++iRows;
        }
        return iRows;
    };
    int iRows = 0;
    EXPECT_THAT(logged([&] { iRows = fill(); }),
                ElementsAre("Error 13 (test.db has reached its limit of 1 MiB)", failure("exec", 1)));
    EXPECT_GT(iRows, 240);
    EXPECT_LE(std::filesystem::file_size(file()), c_iLimit);
    EXPECT_EQ(oPlugin.updateRow(this, "T", 7, tests::row({{"Text", "short"}})), 0U);
    EXPECT_EQ(oPlugin.deleteRow(this, "T", 7), 0U) << "its trigger takes ten pages more";
    logged([&] {
        EXPECT_EQ(insert(), 1U);
        // SQLite may undo the whole transaction; whoever has begun it must learn that.
        EXPECT_EQ(oPlugin.startTransaction(this), 0U);
        EXPECT_EQ(oPlugin.deleteKey(this, "T", "Id", "9"), 0U);
        EXPECT_FALSE(oPlugin.hasLostTransaction());
        EXPECT_EQ(insert(), 1U);
        EXPECT_TRUE(oPlugin.hasLostTransaction());
        EXPECT_EQ(insert(), 1U);
        EXPECT_EQ(oPlugin.rollbackTransaction(this), 0U);
    });
    EXPECT_EQ(oPlugin.deleteAll(this, "Log"), 0U);
    EXPECT_EQ(insert(), 0U);
    oPlugin.close(this);
    EXPECT_EQ(sql("PRAGMA integrity_check; SELECT COUNT(*) FROM T WHERE Id = 9"), "ok|1|");
}

TEST_F(SqliteConnectionTest, theLimitIsASettingAndAtMostAQuarterOfTheFileSystem)
{
    const std::string sFile = m_oDir.file("ledger-store.conf");
    constexpr std::uint64_t c_iMiB = 1024 * 1024;
    const struct
    {
        const char* m_pText;
        std::uint64_t m_iMiB;
        std::size_t m_iLines;
    } aCases[] = {{"", 32, 0},
                  {"store-directory=/a\n# database-limit=2\n database-limit = \"3\" \n", 3, 0},
                  {"database-limit=0\n", 32, 1},
                  {"database-limit=12x\ndatabase-limit=\ndatabase-limit=257\n", 32, 3}};
    for (const auto& [sText, iMiB, iLines] : aCases) {
        writeFile(sFile, sText);
        const StoreConfiguration oConfiguration(sFile);
        EXPECT_EQ(findDatabaseLimit(oConfiguration, "/proc"), iMiB * c_iMiB) << sText;
        EXPECT_EQ(oConfiguration.faults().size(), iLines) << sText;
    }
    const std::string sDisk = m_oDir.file("disk");
    std::filesystem::create_directory(sDisk);
    if (::mount("tmpfs", sDisk.c_str(), "tmpfs", 0, "size=2m") == 0) {
        EXPECT_EQ(findDatabaseLimit(StoreConfiguration(sFile), sDisk), c_iMiB / 2);
        ::umount(sDisk.c_str());
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
