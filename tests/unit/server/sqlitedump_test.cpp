#include "server/sqlitedump.h"

#include "storage/sqliteplugin.h"
#include "tests/unit/server/support.h"
#include "zel/assert.h"
#include "zel/log.h"
#include "zel/uniquefd.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <sys/mount.h>

namespace zel::cfg {
namespace {

namespace fs = std::filesystem;
using systema::SqlitePlugin;
using testing::ElementsAre;
using testing::EndsWith;

class SqliteDumpTest : public testing::Test
{
protected:
    SqliteDumpTest()
    {
        fs::create_directory(m_oDir.file("dump"));
        for (const SqlitePlugin* pPlugin : {&m_oTransient, &m_oTwo, &m_oOne}) {
            m_oDump.addPlugin(pPlugin);
        }
    }

    std::string dumpFile(const std::string& a_sName) const { return m_oDir.file("dump/" + a_sName + ".sql"); }

    const TempDir m_oDir;
    const std::string m_sDumps = m_oDir.file("dump");
    SqlitePlugin m_oOne{m_oDir.path(), "one.db", true, true, false};
    SqlitePlugin m_oTwo{m_oDir.path(), "two.db", true, true, false};
    SqlitePlugin m_oTransient{m_oDir.path(), "transient.db", true, false, false};
    SqliteDump m_oDump{m_sDumps.c_str(), m_oDir.path().c_str(), false};
};

TEST_F(SqliteDumpTest, DumpsWhatIsChosenInOrderOfRegistration)
{
    ZEL_Sysloglevel_changeTracelevel("SqliteDump", c_iTraceLevelVerbose);
    const auto dump = [this](bool a_bPersistent, bool a_bTransient) {
        return logLinesOf([&] { m_oDump.dump(a_bPersistent, a_bTransient, 2); });
    };
    const auto command = [this](const std::string& a_sName) {
        return "trace   SqliteDump sqlitedump:126: sqlite3 " + m_oDir.file(a_sName) + " \".dump\" > " +
               dumpFile(a_sName);
    };
    EXPECT_THAT(dump(true, false), ElementsAre(command("two.db"), command("one.db")));
    EXPECT_FALSE(fs::exists(dumpFile("transient.db")));
    EXPECT_THAT(dump(false, true), ElementsAre(command("transient.db")));
    EXPECT_THAT(dump(true, true), ElementsAre(command("transient.db"), command("two.db"), command("one.db")));
    EXPECT_THAT(dump(false, false), ElementsAre());
}

TEST_F(SqliteDumpTest, TriesAgainUntilTheDumpIsComplete)
{
    const tests::CommandPath oPath;
    oPath.add("sqlite3",
              "echo x >> $HERE/tries\n[ $(wc -l < $HERE/tries) -ge $(cat $HERE/good) ] && echo 'COMMIT;'");
    const auto retry = [&](const std::string& a_sName, int a_iTimes) {
        return "error   SqliteDump sqlitedump:134: SQL dump " + dumpFile(a_sName) + " is corrupt. Retry " +
               std::to_string(a_iTimes) + " times";
    };
    writeFile(oPath.file("good"), "3"); // the third is
    EXPECT_THAT(logLinesOf([&] { m_oDump.dump(false, true, 2); }),
                ElementsAre(retry("transient.db", 2), retry("transient.db", 1)));
    EXPECT_EQ("COMMIT;\n", readFile(dumpFile("transient.db")));

    fs::remove(oPath.file("tries"));
    writeFile(oPath.file("good"), "4"); // of the second database
    EXPECT_THAT(logLinesOf([&] { m_oDump.dump(true, false, 2); }),
                ElementsAre(retry("two.db", 2), retry("two.db", 1), retry("two.db", 0)));
    EXPECT_EQ("", readFile(dumpFile("two.db"))); // stays as it is
    EXPECT_EQ("COMMIT;\n", readFile(dumpFile("one.db")));
}

TEST_F(SqliteDumpTest, TwoDumpsInOneWholeSecondAreTwoDumps)
{
    const tests::CommandPath oPath; // a file system that keeps no more than seconds
    oPath.add("sqlite3", "echo 'COMMIT;'; touch -d @1700000000 " + dumpFile("transient.db"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(logLinesOf([&] { EXPECT_TRUE(m_oDump.dump(false, true, 2)); }), ElementsAre());
    }
}

TEST_F(SqliteDumpTest, AShellThatHangsIsKilledWhenTheTriesHaveTakenTooLong)
{
    const tests::CommandPath oPath;
    oPath.add("sqlite3", "echo x >> $HERE/tries; case $1 in *two.db) ;; *) echo 'COMMIT;';; esac\n"
                         "[ $(wc -l < $HERE/tries) != 2 ] || exec sleep 1000");
    SqliteDump oDump(m_sDumps.c_str(), m_oDir.path().c_str(), false, std::chrono::milliseconds(300));
    oDump.addPlugin(&m_oTwo);
    oDump.addPlugin(&m_oOne);
    EXPECT_THAT(logLinesOf([&] { EXPECT_FALSE(oDump.dump(true, false, 2)); }),
                ElementsAre(EndsWith("two.db.sql is corrupt. Retry 2 times"),
                            EndsWith("two.db.sql is not complete within 300 ms")));
    EXPECT_EQ("COMMIT;\n", readFile(dumpFile("one.db")));
}

TEST_F(SqliteDumpTest, ADumpDirectoryThatNeverAnswersIsLeftAlone)
{
    const UniqueFd oNeverServed(::open("/dev/fuse", O_RDWR | O_CLOEXEC));
    const std::string sOptions =
        "fd=" + std::to_string(oNeverServed.get()) + ",rootmode=40000,user_id=0,group_id=0";
    if (!oNeverServed || ::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("dead", m_sDumps.c_str(), "fuse", 0, sOptions.c_str()) != 0) {
        GTEST_SKIP() << "a file system cannot be mounted here";
    }
    SqliteDump oDump(m_sDumps.c_str(), m_oDir.path().c_str(), false, std::chrono::milliseconds(100));
    oDump.addPlugin(&m_oOne);
    EXPECT_THAT(logLinesOf([&] { EXPECT_FALSE(oDump.dump(true, false, 2)); }),
                ElementsAre(EndsWith("The dump directory " + m_sDumps + " does not answer")));
    ::umount2(m_sDumps.c_str(), MNT_DETACH);
}

TEST_F(SqliteDumpTest, ADumpIsCompleteWhenItEndsInCommitAndOneMoreByte)
{
    const std::string sFile = m_oDir.file("dump.sql");
    const auto check = [&](const std::string& a_sText) {
        writeFile(sFile, a_sText);
        bool bComplete = false;
        EXPECT_THAT(logLinesOf([&] { bComplete = m_oDump.checkDump(sFile.c_str()); }), ElementsAre());
        return bComplete;
    };
    EXPECT_TRUE(check("COMMIT;\n"));
    EXPECT_TRUE(check("INSERT;\nCOMMIT;\n"));
    EXPECT_TRUE(check("INSERT;\nCOMMIT; "));
    EXPECT_FALSE(check(""));
    EXPECT_FALSE(check("INSERT;\nCOMMIT;"));
    EXPECT_FALSE(check("INSERT;\nCOMMIT;\n\n"));
    EXPECT_FALSE(check("INSERT;\nCOMMIT;\r\n"));
    EXPECT_FALSE(check("INSERT;\ncommit;\n"));
    EXPECT_FALSE(check("INSERT;\nROLLBACK; -- due to errors\n"));

    writeFile(sFile, "COMMIT;");
    EXPECT_THAT(logLinesOf([&] { EXPECT_FALSE(m_oDump.checkDump(sFile.c_str())); }),
                ElementsAre("error   SqliteDump sqlitedump:151: lseek failed: Invalid argument"));
    fs::remove(sFile);
    EXPECT_THAT(logLinesOf([&] { EXPECT_FALSE(m_oDump.checkDump(sFile.c_str())); }),
                ElementsAre("error   SqliteDump sqlitedump:145: Could not open dump: " + sFile));
}

TEST_F(SqliteDumpTest, TheFileThatIsCheckedHasAPathOf127CharactersAtMost)
{
    const std::string sLong = m_oDir.file(std::string(126 - m_oDir.path().size() - 1, 'x'));
    fs::create_directory(sLong);
    SqliteDump oDump(sLong.c_str(), m_oDir.path().c_str(), false);
    oDump.addPlugin(&m_oOne);
    EXPECT_THAT(logLinesOf([&] { oDump.dump(true, false, 0); }),
                testing::Contains("error   SqliteDump sqlitedump:134: SQL dump " + sLong +
                                  "/ is corrupt. Retry 0 times"));
    EXPECT_TRUE(oDump.checkDump((sLong + "/one.db.sql").c_str()));
}

} // namespace
} // namespace zel::cfg
