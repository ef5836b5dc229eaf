#include "storage/directorylock.h"
#include "tests/unit/restore/restorefixture.h"

#include <csignal>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zel::cfg {

namespace {

using testing::EndsWith;
using testing::HasSubstr;

class RestoreTest : public tests::RestoreTest
{
protected:
    std::size_t countFiles() const
    {
        const std::filesystem::directory_iterator oFiles(m_oDir.file("db"));
        return static_cast<std::size_t>(std::distance(begin(oFiles), end(oFiles)));
    }
};

const std::string c_sNoise(5000, 'x');

TEST_F(RestoreTest, aFirstBootMakesWhatTheFactoryHas)
{
    EXPECT_EQ(restore(), ERestored::Current);
    for (const auto& oFile : systema::c_aDatabaseFiles) {
        EXPECT_EQ(getSource(oFile.m_pName), "factory");
        EXPECT_EQ(sql("SELECT Text FROM T", oFile.m_pName), "factory|");
        struct stat oStatus
        {
        };
        ASSERT_EQ(::stat(database(oFile.m_pName).c_str(), &oStatus), 0);
        EXPECT_EQ(oStatus.st_mode & 07777, 0600U);
    }
    EXPECT_EQ(countFiles(), std::size(systema::c_aDatabaseFiles));
    EXPECT_THAT(getLog(),
                EndsWith("There is no store " + m_oDir.file("store") + ": never saved, or not mounted\n"));
}

TEST_F(RestoreTest, theHighestGenerationIsTheCurrentOne)
{
    save(9, dumpOf("nine"));
    save(10, dumpOf("ten"));
    save(10, dumpOf("never saved"), "transient.db");
    for (const char* pOther : {"new", "generation.011", "generation.12x", "generation.", "generation.-13"}) {
        std::filesystem::create_directories(m_oDir.file("store/") + pOther);
        writeFile(m_oDir.file("store/") + pOther + "/" + c_pName + ".sql", dumpOf(pOther));
    }
    writeFile(m_oDir.file("store/generation.14"), "no directory");
    EXPECT_EQ(restore(), ERestored::Current);
    EXPECT_EQ(getSource(), "generation 10");
    EXPECT_EQ(text(), "ten|");
    EXPECT_EQ(getSource("services.db"), "factory");
    EXPECT_EQ(sql("SELECT Text FROM T", "transient.db"), "factory|");
}

TEST_F(RestoreTest, whatIsDamagedOrMissingFallsBackAndKeepsNothingOfIt)
{
    const std::string sGood = dumpOf("good");
    for (const std::string& sBad : {sGood.substr(0, sGood.size() - 8), std::string(),
                                    dump("CREATE TABLE T(Id);\nINSERT INTO X VALUES(1);\n"), dump("")}) {
        save(1, dumpOf("older"));
        save(2, dumpOf("previous"));
        save(3, sBad);
        EXPECT_EQ(restore(), ERestored::FellBack);
        EXPECT_EQ(getSource(), "generation 2 (previous)");
        EXPECT_EQ(text(), "previous|");
        EXPECT_THAT(getLog(), HasSubstr("generation.3/persistent-web.db.sql: "));

        save(2, sBad);
        EXPECT_EQ(restore(), ERestored::FellBack);
        EXPECT_EQ(getSource(), "factory");
        EXPECT_EQ(text(), "factory|");
    }
    save(2, dumpOf("previous"));
    std::filesystem::remove(m_oDir.file("store/generation.3/persistent-web.db.sql"));
    EXPECT_EQ(restore(), ERestored::FellBack);
    EXPECT_EQ(getSource(), "generation 2 (previous)");
}

TEST_F(RestoreTest, aDumpThatHasGoneFromItsGenerationIsDamage)
{
    const auto list = [this](int a_iGeneration) {
        writeFile(m_oDir.file("store/generation." + std::to_string(a_iGeneration) + "/contents"),
                  "persistent-area.db.sql\npersistent-web.db.sql\n");
    };
    save(1, dumpOf("other"), "persistent-area.db");
    EXPECT_EQ(restore(), ERestored::Current) << "of older firmware, which had no such database";
    EXPECT_EQ(getSource(), "factory");

    list(1);
    EXPECT_EQ(restore(), ERestored::FellBack);
    EXPECT_EQ(getSource(), "factory");
    EXPECT_EQ(getSource("persistent-area.db"), "generation 1");
    EXPECT_EQ(getSource("services.db"), "factory");
    EXPECT_THAT(getLog(), HasSubstr("generation.1/persistent-web.db.sql: is missing, though it was saved"));
    EXPECT_THAT(getLog(), testing::Not(HasSubstr("services.db")));

    save(1, dumpOf("previous"));
    save(2, dumpOf("other"), "persistent-area.db");
    list(2);
    EXPECT_EQ(restore(), ERestored::FellBack);
    EXPECT_EQ(getSource(), "generation 1 (previous)");
}

TEST_F(RestoreTest, aDumpOfAnotherDatabaseUnderTheNameIsDamaged)
{
    const auto setUp = [this](const std::string& a_sSaved) {
        save(2, dumpOf("previous"));
        save(3, dump(a_sSaved));
    };
    const std::string sDump = m_oDir.file("store/generation.3/persistent-web.db.sql");
    const std::string sRows = " (Id INTEGER PRIMARY KEY, Text TEXT);\n";
    setFactory("CREATE TABLE Service" + sRows, "services.db");
    setFactory("CREATE TABLE Area" + sRows, "persistent-area.db");
    const std::string sService = "CREATE TABLE service" + sRows;
    const std::string sMark =
        "CREATE TABLE SchemaVersionServices (Id INTEGER PRIMARY KEY, Version INTEGER);\n";
    const std::string sT = "CREATE TABLE T" + sRows + "INSERT INTO T VALUES(1,'saved');\n";

    // of older firmware, of a restored device, and with a table whose name both databases have
    for (const std::string& sForeign : {sService, sService + sMark, sMark + sT}) {
        setUp(sForeign);
        EXPECT_EQ(restore(), ERestored::FellBack) << sForeign;
        EXPECT_EQ(getSource(), "generation 2 (previous)") << sForeign;
        EXPECT_EQ(text(), "previous|") << sForeign;
        EXPECT_THAT(getLog(), HasSubstr(sDump + ": is a dump of services.db, not of persistent-web.db"));
        const RestoreSettings oSettings{m_oDir.file("db"), m_oDir.file("store"), m_oDir.file("factory")};
        std::ostringstream oReport;
        EXPECT_EQ(checkDumps(oSettings, {sDump}, oReport), EChecked::Bad);
        EXPECT_EQ(oReport.str(), sDump + ": is a dump of services.db, not of persistent-web.db\n");
        EXPECT_EQ(findFault(oSettings, sDump), "is a dump of services.db, not of persistent-web.db");
    }

    // a table that has moved here, one of a board, and one that has moved away beside the own mark
    for (const std::string& sOwn :
         {sT + sService, "CREATE TABLE Board" + sRows,
          "CREATE TABLE SchemaVersionPersistentWeb (Id INTEGER PRIMARY KEY, Version INTEGER);\n" +
              sService}) {
        setUp(sOwn);
        EXPECT_EQ(restore(), ERestored::Current) << sOwn << getLog();
        EXPECT_EQ(getSource(), "generation 3") << sOwn;
    }
}

TEST_F(RestoreTest, withoutFactoryOneDatabaseIsMissingAndTheOthersAreMade)
{
    std::filesystem::remove(m_oDir.file("factory/persistent-web.sql"));
    EXPECT_EQ(restore(), ERestored::Failed);
    EXPECT_FALSE(std::filesystem::exists(database()));
    EXPECT_EQ(getSource("persistent-area.db"), "factory");

    save(1, dumpOf("saved"));
    for (const bool bKeep : {false, true}) {
        EXPECT_EQ(restore(bKeep), ERestored::FellBack) << "somebody should hear of it";
        EXPECT_EQ(text(), "saved|");
    }
}

TEST_F(RestoreTest, aStoreThatCannotBeReadIsNoFirstBoot)
{
    writeFile(m_oDir.file("store"), "");
    std::filesystem::remove(m_oDir.file("factory/migrations"));
    writeFile(m_oDir.file("factory/migrations"), "");
    EXPECT_EQ(restore(), ERestored::FellBack);
    EXPECT_EQ(text(), "factory|");
}

/// The bytes of a database and its journal as a process leaves them that is killed within a transaction, when
/// part of it is in the file.
std::pair<std::string, std::string> killedWhileWriting(const std::string& a_sFile)
{
    sqlite3* pRaw = nullptr;
    sqlite3_open(a_sFile.c_str(), &pRaw);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> pDatabase(pRaw, &sqlite3_close);
    const char* const pHalf =
        "PRAGMA cache_size = 1; CREATE TABLE IF NOT EXISTS T (Id INTEGER PRIMARY KEY, Text TEXT);"
        "INSERT INTO T WITH RECURSIVE N(I) AS (SELECT 10 UNION ALL SELECT I + 1 FROM N LIMIT 999)"
        " SELECT I, hex(randomblob(99)) FROM N;"
        "BEGIN; UPDATE T SET Text = hex(randomblob(99)) WHERE Id >= 10;";
    EXPECT_EQ(sqlite3_exec(pRaw, pHalf, nullptr, nullptr, nullptr), SQLITE_OK);
    return {readFile(a_sFile), readFile(a_sFile + "-journal")};
}

TEST_F(RestoreTest, noStaleFileReachesTheNewDatabase)
{
    save(1, dumpOf("saved"));
    std::filesystem::create_directory(m_oDir.file("db"));
    const std::string sJournal = killedWhileWriting(m_oDir.file("other.db")).second;
    writeFile(database() + ".restore", c_sNoise);
    writeFile(database() + ".restore-journal", sJournal);
    writeFile(database() + "-journal", sJournal);
    writeFile(database() + "-wal", c_sNoise);
    EXPECT_EQ(restore(), ERestored::Current);
    EXPECT_EQ(text(), "saved|");
    EXPECT_EQ(countFiles(), std::size(systema::c_aDatabaseFiles));

    const std::string sRestored = readFile(database());
    writeFile(database() + "-journal", sJournal);
    text();
    EXPECT_NE(readFile(database()), sRestored) << "this journal does no harm";
}

TEST_F(RestoreTest, touchesNothingThatIsInUse)
{
    std::filesystem::create_directory(m_oDir.file("db"));
    {
        const systema::DirectoryLock oDaemon(m_oDir.file("db"));
        EXPECT_EQ(restore(), ERestored::Failed);
        EXPECT_THAT(getLog(), HasSubstr("in use"));
        EXPECT_EQ(countFiles(), 0U);
    }
    EXPECT_EQ(restore(), ERestored::Current);
    sql("UPDATE T SET Text = 'mine'");

    sqlite3* pRaw = nullptr;
    sqlite3_open(database().c_str(), &pRaw);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> pDatabase(pRaw, &sqlite3_close);
    sqlite3_exec(pRaw, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    EXPECT_EQ(restore(), ERestored::Failed);
    EXPECT_EQ(getSource(), "");
    EXPECT_EQ(text(), "mine|");
    EXPECT_EQ(getSource("persistent-area.db"), "factory");
}

TEST_F(RestoreTest, keepsWhatIsSoundAndCurrent)
{
    save(1, dumpOf("saved"));
    EXPECT_EQ(restore(true), ERestored::Current);
    EXPECT_EQ(getSource(), "generation 1");
    sql("UPDATE T SET Text = 'not saved yet'");
    sql("UPDATE T SET Text = 'not saved yet'", "transient.db");
    EXPECT_EQ(restore(true), ERestored::Current);
    EXPECT_EQ(getSource(), "kept");
    EXPECT_EQ(text(), "not saved yet|");
    EXPECT_EQ(getSource("transient.db"), "kept");

    const auto [sHalf, sJournal] = killedWhileWriting(database());
    const std::string sCommitted = readFile(database());
    EXPECT_NE(sHalf, sCommitted);
    writeFile(database(), sHalf);
    writeFile(database() + "-journal", sJournal);
    EXPECT_EQ(restore(true), ERestored::Current);
    EXPECT_EQ(getSource(), "kept");
    EXPECT_EQ(readFile(database()), sCommitted);

    sql("ALTER TABLE T ADD COLUMN More TEXT");
    EXPECT_EQ(restore(true), ERestored::Current);
    EXPECT_EQ(getSource(), "generation 1");
    EXPECT_EQ(text(), "saved|");
    for (const std::string& sNoise : {c_sNoise, readFile(database()).substr(0, 5000), std::string()}) {
        writeFile(database(), sNoise);
        EXPECT_EQ(restore(true), ERestored::Current);
        EXPECT_EQ(getSource(), "generation 1");
        EXPECT_EQ(text(), "saved|");
    }
    EXPECT_EQ(restore(false), ERestored::Current);
    EXPECT_EQ(getSource("transient.db"), "factory");
}

TEST_F(RestoreTest, aDatabaseThatHadMoreThanWasSavedIsNotReplacedWithoutAWord)
{
    const std::string sMark = m_oDir.file("db/") + systema::c_pUnsavedMark;
    const auto lose = [&](const char* a_pName) {
        const std::string sFile = database(a_pName);
        return std::pair(std::string(a_pName), [sFile](int a_iHow) {
            a_iHow == 0 ? void(std::filesystem::remove(sFile))
                        : writeFile(sFile, a_iHow == 1 ? c_sNoise : std::string());
        });
    };
    const std::string aLost[] = {" was missing: ", " was damaged: ", " was damaged: "};
    save(1, dumpOf("saved"));
    EXPECT_EQ(restore(true), ERestored::Current) << "a boot";
    for (int iHow = 0; iHow < 3; ++iHow) {
        for (const auto& [sName, oLose] : {lose(c_pName), lose("services.db"), lose("transient.db")}) {
            writeFile(sMark, "");
            oLose(iHow);
            EXPECT_EQ(restore(true), ERestored::FellBack) << sName << iHow;
            EXPECT_THAT(getLog(), HasSubstr(sName + aLost[iHow] + "what was not saved of it is lost"));
            EXPECT_EQ(restore(true), ERestored::Current) << getLog();

            std::filesystem::remove(sMark);
            oLose(iHow);
            const bool bSaved = sName == c_pName || iHow == 0;
            EXPECT_EQ(restore(true), bSaved ? ERestored::Current : ERestored::FellBack) << sName << iHow;
        }
    }
}

class KilledRestoreTest : public RestoreTest
{
protected:
    /// Runs a restore that is killed when it has reported the database.
    void kill(bool a_bKeep)
    {
        struct Killer : std::stringbuf
        {
            int sync() override { return str().find(c_pName) == std::string::npos ? 0 : ::raise(SIGKILL); }
        };
        const pid_t iChild = ::fork();
        if (iChild == 0) {
            Killer oKiller;
            std::ostream oReport(&oKiller);
            zel::cfg::restoreDatabases(
                {m_oDir.file("db"), m_oDir.file("store"), m_oDir.file("factory"), a_bKeep, m_oLimits},
                oReport);
            ::_exit(0);
        }
        int iStatus = 0;
        ASSERT_EQ(::waitpid(iChild, &iStatus, 0), iChild);
        ASSERT_TRUE(WIFSIGNALED(iStatus));
    }
};

TEST_F(KilledRestoreTest, whatItHasReplacedIsToldByTheNext)
{
    save(1, dumpOf("saved"));
    EXPECT_EQ(restore(), ERestored::Current);
    writeFile(m_oDir.file("db/") + systema::c_pUnsavedMark, "");
    writeFile(database(), c_sNoise);
    kill(true);
    EXPECT_EQ(restore(true), ERestored::FellBack);
    EXPECT_EQ(getSource(), "kept");
    EXPECT_THAT(getLog(),
                HasSubstr(std::string(c_pName) + " fell back to an older state in a run that was killed"));
    EXPECT_EQ(restore(true), ERestored::Current) << getLog();
}

TEST_F(KilledRestoreTest, noMixtureOfTwoGenerationsIsKept)
{
    constexpr const char* c_pLater = "services.db";
    for (const int iGeneration : {1, 2}) {
        for (const char* pName : {c_pName, c_pLater}) {
            save(iGeneration, dumpOf(std::to_string(iGeneration)), pName);
        }
        iGeneration == 1 ? void(restore()) : kill(false);
    }
    EXPECT_EQ(text(), "2|");
    EXPECT_EQ(sql("SELECT Text FROM T", c_pLater), "1|") << "not reached";
    EXPECT_EQ(restore(true), ERestored::Current);
    EXPECT_EQ(sql("SELECT Text FROM T", c_pLater), "2|");
    EXPECT_THAT(getLog(), HasSubstr("every database is made anew"));
    EXPECT_EQ(restore(true), ERestored::Current);
    EXPECT_EQ(getSource(c_pLater), "kept");
}

constexpr const char* c_pEndless =
    "CREATE TABLE N (I INTEGER);\nINSERT INTO N VALUES(1),(2),(3),(4),(5),(6),(7),(8),(9);\n"
    "CREATE VIEW V AS SELECT a.I FROM N a, N b, N c, N d, N e, N f, N g, N h, N i, N j, N k, N l;\n"
    "INSERT INTO N SELECT count(*) FROM V;\n";

TEST_F(RestoreTest, aDumpThatPassesALimitIsAtFault)
{
    m_oLimits = {8 * c_iMiB, std::chrono::seconds(1)};
    save(1, dumpOf("previous"));
    const char* const pOneStep = "CREATE TABLE A (T);\n"
                                 "INSERT INTO A SELECT instr(zeroblob(3000000), zeroblob(1500000) || 'a');\n";
    const std::pair<std::string, std::string> aCases[] = {
        {c_pEndless, "takes more than 1 s of the processor's time"},
        {pOneStep, "takes more than 1 s of the processor's time"},
        {"CREATE TABLE A (T);\nINSERT INTO A SELECT length(hex(zeroblob(7000000)));\n",
         "line 4: takes more than 16 MiB of memory"},
        {"CREATE TABLE A (T);\nINSERT INTO A VALUES(1),(2),(3),(4),(5),(6),(7),(8),(9),(0);\n"
         "INSERT INTO A SELECT zeroblob(100000) FROM A a, A b;\n",
         "line 5: larger than 8 MiB as a database"},
        {"CREATE TABLE A (T);\nINSERT INTO A VALUES('" + std::string(9 * c_iMiB, 'a') + "');\n",
         "line 4: a statement of more than 8 MiB"},
    };
    for (const auto& [sStatements, sFault] : aCases) {
        save(2, dump(sStatements));
        EXPECT_EQ(restore(), ERestored::FellBack);
        EXPECT_EQ(getSource(), "generation 1 (previous)");
        EXPECT_EQ(text(), "previous|");
        EXPECT_THAT(getLog(), HasSubstr("generation.2/persistent-web.db.sql: " + sFault));
        EXPECT_EQ(getSource("services.db"), "factory");
    }
}

TEST_F(RestoreTest, factoryAndMigrationsThatDoNotEndCostNoSavedRow)
{
    m_oLimits.m_oLeast = std::chrono::seconds(1);
    save(1, dumpOf("saved"));
    addMigration("001-endless.sql", c_pEndless);
    EXPECT_EQ(restore(), ERestored::FellBack);
    EXPECT_EQ(getSource(), "generation 1");
    EXPECT_EQ(text(), "saved|");
    EXPECT_THAT(getLog(), HasSubstr("persistent-web.db with its migrations: takes more than 1 s"));

    setFactory(c_pEndless);
    EXPECT_EQ(restore(), ERestored::FellBack);
    EXPECT_EQ(text(), "saved|");
    EXPECT_THAT(getLog(), HasSubstr("factory/persistent-web.sql: takes more than 1 s"));
}

} // namespace

} // namespace zel::cfg
