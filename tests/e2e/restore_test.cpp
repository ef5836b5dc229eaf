// ledger-restore as a boot script runs it.
#include "storage/databasefiles.h"
#include "tests/e2e/daemontest.h"

#include <csignal>
#include <filesystem>
#include <sys/resource.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace e2e {
namespace {

class RestoreProgramTest : public DaemonTest
{
protected:
    /// Runs the program in the sandbox, with the factory of the project.
    Finished restore(std::vector<std::string> a_lMore = {}, std::function<void()> a_oInChild = {}) const
    {
        a_lMore.insert(a_lMore.end(), {"--factory-directory", LEDGERD_FACTORY});
        return run(LEDGER_RESTORE_BINARY, {.m_lArguments = std::move(a_lMore),
                                           .m_lEnvironment = m_oSandbox.environment(),
                                           .m_oInChild = std::move(a_oInChild)});
    }
    void save(const std::string& a_sGeneration, const std::string& a_sDump,
              const std::string& a_sDatabase = "persistent-web.db") const
    {
        const std::string sDirectory = m_oSandbox.path("flash/store/generation.") + a_sGeneration;
        fs::create_directories(sDirectory);
        writeFile(sDirectory + "/" + a_sDatabase + ".sql", a_sDump);
    }

    const std::string m_sGood = readFile(LEDGERD_FACTORY "/persistent-web.sql");
};

TEST_F(RestoreProgramTest, tellsTheSourceOfWhatItFindsByItsConfiguration)
{
    EXPECT_EQ(restore().m_iStatus, 0);
    writeFile(m_oSandbox.path("etc/ledger-store.conf"),
              "# where things are\n\ndump-directory=/flash/sql\ndatabase-directory=/made/here\r\n"
              "store-directory = \"/my+store\"\n");
    save("1", m_sGood);
    save("2", m_sGood.substr(0, m_sGood.size() / 2));
    fs::rename(m_oSandbox.path("flash/store"), m_oSandbox.path("my+store"));
    const Finished oFallen = restore();
    EXPECT_EQ(oFallen.m_iStatus, 1);
    EXPECT_THAT(oFallen.m_sOutput, HasSubstr("persistent-web.db: generation 1 (previous)\n"));
    EXPECT_THAT(oFallen.m_sErrors, HasSubstr("ledger-restore"));
    EXPECT_TRUE(fs::exists(m_oSandbox.path("made/here/persistent-web.db")));

    const Finished oMistyped = restore({"-s", "/nonexistent"});
    EXPECT_EQ(oMistyped.m_iStatus, 1) << "who names a store expects that there is one";
    EXPECT_THAT(oMistyped.m_sOutput, HasSubstr("persistent-web.db: factory\n"));
    EXPECT_THAT(oMistyped.m_sErrors, HasSubstr("There is no store /nonexistent"));
    EXPECT_EQ(restore({"--factory-directory"}).m_iStatus, 64);
    EXPECT_EQ(restore({"--config", m_oSandbox.path("none")}).m_iStatus, 64);
}

TEST_F(RestoreProgramTest, aRowFromBeforeAddressesWereCheckedSurvives)
{
    std::string sOld = readFile(LEDGERD_FACTORY "/persistent-network.sql");
    const auto iTriggers = sOld.find("CREATE TRIGGER");
    ASSERT_NE(std::string::npos, iTriggers);
    sOld.erase(iTriggers, sOld.rfind("COMMIT;") - iTriggers);
    const std::string sAddress = "'192.168.1.20','desk'";
    sOld.replace(sOld.find(sAddress), sAddress.size(), "'foo','desk'");
    save("1", sOld, "persistent-network.db");
    const auto oRun = restore();
    EXPECT_EQ(oRun.m_iStatus, 0) << oRun.m_sErrors;
    EXPECT_THAT(oRun.m_sErrors, Not(HasSubstr("left out")));
    const std::string sDatabase = m_oSandbox.database("persistent-network.db");
    const auto oShell =
        run("/bin/sh", {.m_lArguments = {"-c",
                                         "sqlite3 $0 .dump | sqlite3 -bail $0.copy && sqlite3 $0.copy "
                                         "'SELECT IpAddress FROM DhcpStaticLease WHERE Id = 1'",
                                         sDatabase}});
    EXPECT_EQ("foo\n", oShell.m_sOutput) << oShell.m_sErrors;
}

TEST_F(RestoreProgramTest, makesEveryDatabaseWhenNobodyReadsItsReport)
{
    const auto closeReaders = [] {
        std::signal(SIGPIPE, SIG_DFL);
        int aPipe[2];
        if (::pipe(aPipe) == 0) {
            ::close(aPipe[0]);
            ::dup2(aPipe[1], STDOUT_FILENO);
            ::dup2(aPipe[1], STDERR_FILENO);
        }
    };
    EXPECT_EQ(restore({}, closeReaders).m_iStatus, 0);
    for (const auto& oFile : systema::c_aDatabaseFiles) {
        EXPECT_TRUE(fs::exists(m_oSandbox.path("tmp/db/") + oFile.m_pName)) << oFile.m_pName;
    }
}

TEST_F(RestoreProgramTest, aFaultyConfigurationIsNoSilentFactory)
{
    save("1", m_sGood);
    for (const char* pLine : {"store-directory=my/store", "store-directory=/my store", "store-directory",
                              "store-dirctory=/my/store", "database-limit=abc"}) {
        writeFile(m_oSandbox.path("etc/ledger-store.conf"), std::string("# one\n") + pLine + "\n");
        const Finished oRun = restore();
        EXPECT_EQ(oRun.m_iStatus, 1) << pLine;
        EXPECT_THAT(oRun.m_sErrors, HasSubstr("etc/ledger-store.conf: line 2: ")) << pLine;
        EXPECT_THAT(oRun.m_sOutput, HasSubstr("persistent-web.db: generation 1\n"));
        EXPECT_EQ(restore({"--from", "/dev/null"}).m_iStatus, 3);
    }
}

TEST_F(RestoreProgramTest, namesWhatIsWrongWithItsCommandLine)
{
    const std::string sHelp = "; see ledger-restore --help";
    const std::pair<std::vector<std::string>, std::string> aCases[] = {
        {{"--form", "f"}, "no option \"--form\"; did you mean \"--from\"?"},
        {{"x.tgz"}, "no option goes with \"x.tgz\"; did you mean \"--from x.tgz\"?"},
        {{"-d", ""}, "--database-directory: the name is empty" + sHelp},
        {{"--from", ""}, "--from: the name is empty" + sHelp},
        {{"--from", "a", "--from", "b"}, "--from is given more than once" + sHelp},
        {{"--from", "a", "--keep"}, "--keep does not go with --from" + sHelp},
    };
    for (const auto& [lWords, sText] : aCases) {
        const Finished oWrong = restore(lWords);
        EXPECT_EQ(oWrong.m_iStatus, 64) << sText;
        EXPECT_EQ(oWrong.m_sErrors, "ledger-restore: " + sText + " [64]\n");
    }
    EXPECT_THAT(restore({"--help"}).m_sOutput,
                testing::Not(testing::ContainsRegex("Excludes|FILE:|=/|TEXT|REQUIRED|[^\n]{140}")));
    EXPECT_EQ(restore({"-V"}).m_sOutput, restore({"--version"}).m_sOutput);
}

TEST_F(RestoreProgramTest, aFullDiskIsNoReasonToFallBack)
{
    save("1", m_sGood);
    save("2", std::string(m_sGood).insert(m_sGood.rfind("COMMIT"),
                                          "INSERT INTO WebPage(Path, Title) VALUES('/large','" +
                                              std::string(100'000, 'x') + "');\n"));
    const std::string sBefore = readFile(m_oSandbox.database("persistent-web.db"));
    const Finished oFull = restore({}, [] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit oLimit{65536, 65536};
        ::setrlimit(RLIMIT_FSIZE, &oLimit);
    });
    EXPECT_EQ(oFull.m_iStatus, 2);
    EXPECT_THAT(oFull.m_sOutput, Not(HasSubstr("persistent-web.db: ")));
    EXPECT_THAT(oFull.m_sOutput, HasSubstr("services.db: factory\n"));
    EXPECT_EQ(readFile(m_oSandbox.database("persistent-web.db")), sBefore);
    EXPECT_FALSE(fs::exists(m_oSandbox.database("persistent-web.db.restore")));
}

TEST_F(RestoreProgramTest, lackOfMemoryIsNoReasonToFallBack)
{
    if (c_bSanitized) {
        GTEST_SKIP() << "a sanitizer takes more address space than there is";
    }
    save("1", m_sGood);
    save("2",
         std::string(m_sGood).insert(m_sGood.rfind("COMMIT"),
                                     "INSERT INTO WebPage(Path) SELECT length(hex(zeroblob(100000000)));\n"));
    const std::string sBefore = readFile(m_oSandbox.database("persistent-web.db"));
    const auto oLittleMemory = [] {
        const rlimit oLimit{150'000'000, 150'000'000};
        ::setrlimit(RLIMIT_AS, &oLimit);
    };
    const Finished oLacking = restore({}, oLittleMemory);
    EXPECT_EQ(oLacking.m_iStatus, 2);
    EXPECT_THAT(oLacking.m_sErrors, HasSubstr("persistent-web.db cannot be made: line "));
    EXPECT_THAT(oLacking.m_sErrors, HasSubstr(": out of memory"));
    EXPECT_EQ(readFile(m_oSandbox.database("persistent-web.db")), sBefore);

    const std::string sDump = m_oSandbox.path("flash/store/generation.2/persistent-web.db.sql");
    const Finished oUnknown = restore({"--check", sDump}, oLittleMemory);
    EXPECT_EQ(oUnknown.m_iStatus, 2);
    EXPECT_THAT(oUnknown.m_sOutput, StartsWith(sDump + ": line "));
    EXPECT_EQ(restore({"--check", sDump}).m_sOutput, "");
    writeFile(sDump, m_sGood.substr(0, m_sGood.size() / 2));
    const Finished oBad = restore({"--check", sDump});
    EXPECT_EQ(oBad.m_iStatus, 1);
    EXPECT_EQ(oBad.m_sOutput, sDump + ": cut off or rolled back: does not end with COMMIT\n");
}

} // namespace
} // namespace e2e
