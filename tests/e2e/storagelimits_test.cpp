// The limits of the databases: the time of a statement, the size of a file, and a disk that is full.
#include "tests/e2e/daemontest.h"

#include <chrono>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace e2e {
namespace {

class StorageLimits : public DaemonTest
{
protected:
    /// Starts the daemon with its databases on a disk of 12 MiB, which it alone sees.
    void startOnSmallDisk()
    {
        const std::string sDatabases = m_oSandbox.path("tmp/db");
        start({"-t", "0"}, [&] {
            const std::string sCopy = m_oSandbox.path("tmp/copy");
            fs::copy(sDatabases, sCopy);
            if (mountSmallDisk(sDatabases, "12m")) {
                fs::copy(sCopy, sDatabases, fs::copy_options::recursive);
                writeFile(sDatabases + "/small", "");
            }
        });
    }

    void fillDisk() const
    {
        std::ofstream oFiller(seenByDaemon("tmp/db/filler"), std::ios::binary);
        while (oFiller.write(std::string(4096, 'x').c_str(), 4096).flush()) {
        }
    }

    /// Adds rows until one is refused, and gives the code of that.
    unsigned fill(const std::string& a_sTable, const std::string& a_sColumn)
    {
        unsigned iCode = 0;
        for (int i = 0; iCode == 0 && i < 5000; ++i) {
            const std::string sText = std::to_string(i) + std::string(3900, 'x');
            iCode = client().code(request::InsertRow{
                a_sTable, row({{"Name", std::to_string(i).c_str()}, {a_sColumn.c_str(), sText.c_str()}})});
        }
        return iCode;
    }
};

TEST_F(StorageLimits, ADeleteThatWouldTakeMinutesIsUndoneWithItsWholeTransaction)
{
    constexpr unsigned c_iParents = 40000;
    m_oSandbox.sql("persistent-web.db",
                   "CREATE TABLE Parent (Id INTEGER PRIMARY KEY);"
                   "CREATE TABLE Child (Id INTEGER PRIMARY KEY,"
                   " ParentId INTEGER REFERENCES Parent(Id) ON DELETE CASCADE);"
                   "WITH RECURSIVE N(I) AS (SELECT 1 UNION ALL SELECT I + 1 FROM N LIMIT 40000)"
                   " INSERT INTO Parent SELECT I FROM N;"
                   "INSERT INTO Child SELECT Id, Id FROM Parent");
    start();
    RawClient oOwner(socket());
    EXPECT_EQ(0U, oOwner.ask(request::Begin{}));
    EXPECT_EQ(0U, oOwner.ask(setNote("before")));
    EXPECT_EQ(0U, oOwner.ask(request::InsertRow{"Scratch", row({{"Text", "before"}})}));
    const auto oStart = std::chrono::steady_clock::now();
    EXPECT_THAT(
        logOf([&] {
            EXPECT_EQ(1U, oOwner.ask(request::DeleteAll{"Parent"}));
            const auto oEvent = oOwner.receive(); // behind the reply, not in the middle of it
            EXPECT_TRUE(oEvent && oEvent->m_eOperation == EOperation::TransactionLost);
        }),
        ElementsAre("error SQLiteWrap Error 9 (persistent-web.db: the statement is undone, for it ran for"
                    " 2 seconds)",
                    "error SQLiteWrap exec failed with error: 1 (general failure)",
                    "warning ConfigDispatcher The open transaction is rolled back: a statement failed in"
                    " a way that undoes all of it"));
    EXPECT_GE(std::chrono::steady_clock::now() - oStart, 2s);
    EXPECT_LE(std::chrono::steady_clock::now() - oStart, c_bSanitized ? 30s : 8s);
    EXPECT_EQ(1U, oOwner.ask(setNote("after")));
    EXPECT_EQ(1U, oOwner.ask(request::Commit{}));
    EXPECT_EQ("red", note());
    EXPECT_EQ(0U, client().count("Scratch"));
    EXPECT_EQ(c_iParents, client().count("Parent"));
    EXPECT_EQ(0U, oOwner.ask(setNote("after")));
}

TEST_F(StorageLimits, RowsAreDeletedAndSettingsChangedWhenADatabaseOrTheDiskIsFull)
{
    writeFile(m_oSandbox.path("etc/ledger-store.conf"), "database-limit = 2\n");
    m_oSandbox.sql("transient.db", "CREATE TABLE Load (Id INTEGER PRIMARY KEY, Name TEXT, Text TEXT)");
    startOnSmallDisk();
    if (!fs::exists(seenByDaemon("tmp/db/small"))) {
        GTEST_SKIP() << "a disk cannot be mounted here";
    }
    const std::string sDisk = m_oSandbox.path("tmp/db");
    const request::InsertRow oInsert{"Load", row({{"Text", std::string(3900, 'y').c_str()}})};
    EXPECT_THAT(logOf([&] { EXPECT_EQ(1U, fill("Load", "Text")); }),
                ElementsAre("error SQLiteWrap Error 13 (transient.db has reached its limit of 2 MiB)",
                            "error SQLiteWrap exec failed with error: 1 (general failure)"));
    EXPECT_THAT(client().codes(setNote("another database"), request::DeleteRow{"Load", 3}, oInsert,
                               request::DeleteKey{"Load", "Name", "7"}, oInsert),
                Each(0U));
    EXPECT_LE(fs::file_size(seenByDaemon("tmp/db/transient.db")), 2U << 20U);

    fillDisk(); // by another process
    EXPECT_EQ(1U, fill("Item", "Note"));
    EXPECT_TRUE(eventually([&] {
        return daemon().errors().find("Error 13 (persistent-common.db: no space left in " + sDisk + ")") !=
               std::string::npos;
    }));
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(client().codes(setNote("full"), request::DeleteRow{"Load", 5}, oInsert, request::Begin{},
                                   setNote("full, in a transaction"),
                                   request::DeleteKey{"Load", "Name", "2" + std::to_string(i)},
                                   request::DeleteKey{"ViewColumns", "Id", std::to_string(i + 1)},
                                   request::Commit{}),
                    Each(0U));
        fillDisk();
        command("dump -a"); // lets go of the databases, and takes them again
    }
    EXPECT_EQ("full, in a transaction", note());
    fs::remove(seenByDaemon("tmp/db/filler"));
    EXPECT_EQ(0U, client().code(request::InsertRow{"Item", row({{"Name", "space"}, {"Note", "again"}})}));
    for (const auto& sName : databaseNames()) {
        const auto iSize = fs::file_size(seenByDaemon("tmp/db/" + sName + "-journal"));
        EXPECT_TRUE(iSize >= 128U << 10U && iSize <= 512U << 10U) << sName << " " << iSize;
    }
}

} // namespace
} // namespace e2e
