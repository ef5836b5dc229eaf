#include "storage/journalvfs.h"

#include "tests/unit/storage/database.h"

#include <filesystem>
#include <fstream>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

using namespace systema;
using tests::logged;

namespace {

constexpr int c_iFew = 8;    // pages that fit into the buffer
constexpr int c_iMany = 200; // several buffers, and more than the cache holds

class JournalVfsTest : public tests::DatabaseTest
{
protected:
    /// Two tables with the same number in all rows, a row of the first to a page.
    void create(int a_iRows)
    {
        sql("PRAGMA default_cache_size = 20; CREATE TABLE T (Round INTEGER, Filler TEXT);"
            "CREATE TABLE U (Round INTEGER); INSERT INTO U VALUES (0);"
            "WITH RECURSIVE N(I) AS (SELECT 1 UNION ALL SELECT I + 1 FROM N WHERE I < " +
            std::to_string(a_iRows) + ") INSERT INTO T SELECT 0, hex(zeroblob(1500)) FROM N");
    }

    SqliteConnection connect() const { return SqliteConnection(c_pName, m_oDir.path(), true); }

    static EResultCode update(const SqliteConnection& a_oConnection)
    {
        const EResultCode eCode = a_oConnection.exec("UPDATE T SET Round = Round + 1");
        return eCode == EResultCode::Success ? a_oConnection.exec("UPDATE U SET Round = Round + 1") : eCode;
    }

    /// The number in all rows; -1 when they differ.
    static int getRound(const SqliteConnection& a_oConnection)
    {
        const char* pSql = "SELECT Round FROM T UNION SELECT Round FROM U";
        sqlite3_stmt* pStatement = nullptr;
        EXPECT_EQ(a_oConnection.query(pSql, &pStatement), SQLITE_OK);
        EXPECT_EQ(sqlite3_step(pStatement), SQLITE_ROW);
        const int iRound = sqlite3_column_int(pStatement, 0);
        const bool bSame = sqlite3_step(pStatement) == SQLITE_DONE;
        sqlite3_finalize(pStatement);
        return bSame ? iRound : -1;
    }

    /// Commits until the timer kills the process, with a byte for each transaction.
    [[noreturn]] void commitUntilKilled(int a_iFd, int a_iMicroseconds) const
    {
        SqliteConnection oConnection = connect();
        sigevent oEvent{};
        oEvent.sigev_notify = SIGEV_SIGNAL;
        oEvent.sigev_signo = SIGKILL;
        timer_t pTimer{};
        ::timer_create(CLOCK_MONOTONIC, &oEvent, &pTimer);
        const itimerspec oTime{{}, {0, a_iMicroseconds * 1000L}};
        ::timer_settime(pTimer, 0, &oTime, nullptr);
        while (oConnection.startTransaction() == EResultCode::Success &&
               update(oConnection) == EResultCode::Success &&
               oConnection.commitTransaction() == EResultCode::Success && ::write(a_iFd, "", 1) == 1) {
        }
        ::_exit(1);
    }
};

/// A directory that can be filled up. Needs the right to mount.
class SmallDisk
{
public:
    explicit SmallDisk(const std::string& a_sPath)
        : m_sPath(a_sPath),
          m_bMounted(::mount("tmpfs", a_sPath.c_str(), "tmpfs", 0, "size=2m") == 0)
    {
    }
    ~SmallDisk()
    {
        if (m_bMounted) {
            ::umount2(m_sPath.c_str(), MNT_DETACH);
        }
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isMounted() const { return m_bMounted; }

    void fill(std::size_t a_iFree) const
    {
        const auto iSize = std::filesystem::space(m_sPath).available - a_iFree;
        std::ofstream(m_sPath + "/ballast") << std::string(iSize, 'x');
    }
    void empty() const { std::filesystem::remove(m_sPath + "/ballast"); }

private:
    const std::string m_sPath;
    const bool m_bMounted;
};

} // namespace

TEST_F(JournalVfsTest, aKilledProcessLeavesWholeTransactions)
{
    create(c_iMany);
    int iLast = 0;
    for (int iMicroseconds = 2000; iMicroseconds < 30000; iMicroseconds += 1370) {
        int aFds[2];
        ASSERT_EQ(::pipe(aFds), 0);
        const pid_t iChild = ::fork();
        if (iChild == 0) {
            commitUntilKilled(aFds[1], iMicroseconds);
        }
        ::close(aFds[1]);
        int iStatus = 0;
        ::waitpid(iChild, &iStatus, 0);
        EXPECT_TRUE(WIFSIGNALED(iStatus));
        char aDone[4096];
        const int iDone = static_cast<int>(::read(aFds[0], aDone, sizeof(aDone)));
        ::close(aFds[0]);

        const int iRound = getRound(connect());
        EXPECT_THAT(iRound, testing::AnyOf(iLast + iDone, iLast + iDone + 1));
        EXPECT_EQ(sql("PRAGMA integrity_check"), "ok|");
        iLast = iRound;
    }
    EXPECT_GT(iLast, 0);
}

TEST_F(JournalVfsTest, aFullDiskRollsBack)
{
    for (const int iRows : {c_iFew, c_iMany}) {
        for (const std::size_t iFree : {0U, 16U * 1024, 100U * 1024}) {
            if (iRows == c_iFew && iFree > 16U * 1024) {
                continue;
            }
            SCOPED_TRACE(std::to_string(iRows) + " rows, free " + std::to_string(iFree));
            SmallDisk oDisk(m_oDir.path());
            if (!oDisk.isMounted()) {
                GTEST_SKIP() << "may not mount a file system";
            }
            create(iRows);
            if (iRows == c_iFew) { // would be done with the reserve
                oDisk.fill(iFree);
            }
            SqliteConnection oConnection = connect();
            EXPECT_EQ(getRound(oConnection), 0);
            if (iRows == c_iMany) {
                oDisk.fill(iFree);
            }
            const auto lLines = logged([&] {
                EXPECT_EQ(oConnection.startTransaction(), EResultCode::Success);
                EXPECT_FALSE(update(oConnection) == EResultCode::Success &&
                             oConnection.commitTransaction() == EResultCode::Success);
                if (oConnection.isInTransaction()) {
                    EXPECT_EQ(oConnection.rollbackTransaction(), EResultCode::Success);
                }
            });
            EXPECT_FALSE(lLines.empty());
            EXPECT_EQ(getRound(oConnection), 0);
            oDisk.empty();
            EXPECT_EQ(update(oConnection), EResultCode::Success);
            EXPECT_EQ(getRound(oConnection), 1);
            oConnection.close();
            EXPECT_EQ(sql("PRAGMA integrity_check; SELECT DISTINCT Round FROM T"), "ok|1|");
        }
    }
}

TEST_F(JournalVfsTest, onAFullDiskWhatDoesNotGrowIsChangedAllTheSame)
{
    const SmallDisk oDisk(m_oDir.path());
    if (!oDisk.isMounted()) {
        GTEST_SKIP() << "may not mount a file system";
    }
    const auto space = [&] { return std::filesystem::space(m_oDir.path()).available; };
    create(c_iMany);
    SqliteConnection oConnection = connect();
    const auto iBefore = space();
    EXPECT_EQ(update(oConnection), EResultCode::Success);
    EXPECT_EQ(space(), iBefore - (c_iMostJournal - c_iJournalReserve)) << "of 800 KiB the rest is given back";
    oDisk.fill(0);
    EXPECT_EQ(oConnection.exec("DELETE FROM T WHERE rowid <= 5"), EResultCode::Success);
    EXPECT_EQ(oConnection.exec("INSERT INTO T VALUES (1, '')"), EResultCode::Success);
    EXPECT_THAT(logged([&] { EXPECT_EQ(update(oConnection), EResultCode::Failure); }),
                testing::ElementsAre("Error 13 (test.db: no space left in " + m_oDir.path() + ")",
                                     tests::failure("exec", 1)));
    EXPECT_EQ(getRound(oConnection), 1);
    // A reserve for which there was no room is there as soon as there is some.
    oConnection.close();
    std::filesystem::remove(file() + "-journal");
    oDisk.empty();
    oDisk.fill(0);
    EXPECT_THAT(logged([&] { oConnection.open(); }),
                testing::ElementsAre(testing::HasSubstr("-journal: no space for ")));
    oDisk.empty();
    EXPECT_EQ(getRound(oConnection), 1);
    EXPECT_EQ(oConnection.exec("DELETE FROM T WHERE rowid = 6"), EResultCode::Success);
    oDisk.fill(0);
    EXPECT_EQ(oConnection.exec("DELETE FROM T WHERE rowid < 10"), EResultCode::Success);
    EXPECT_EQ(getRound(oConnection), 1);
    oConnection.close();
    EXPECT_EQ(sql("PRAGMA integrity_check"), "ok|");
}

TEST_F(JournalVfsTest, aRollbackRestoresAllPages)
{
    for (const int iRows : {c_iFew, c_iMany}) {
        std::filesystem::remove(file());
        create(iRows);
        SqliteConnection oConnection = connect();
        for (int iRound = 0; iRound < 3; ++iRound) {
            EXPECT_EQ(oConnection.startTransaction(), EResultCode::Success);
            EXPECT_EQ(update(oConnection), EResultCode::Success);
            EXPECT_EQ(oConnection.exec("DELETE FROM T"), EResultCode::Success);
            EXPECT_EQ(oConnection.rollbackTransaction(), EResultCode::Success);
            EXPECT_EQ(getRound(oConnection), iRound);
            EXPECT_EQ(update(oConnection), EResultCode::Success);
        }
        oConnection.close();
        EXPECT_EQ(sql("PRAGMA integrity_check"), "ok|");
    }
}
