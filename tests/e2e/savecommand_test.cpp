// srv-save-config-active with the shells of a workstation and of a gateway: what it stores, what it refuses,
// and that a generation survives whatever happens to a save.
#include "tests/e2e/daemontest.h"

#include <algorithm>
#include <filesystem>
#include <sys/mount.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace e2e {
namespace {

constexpr const char* c_pWeb = "persistent-web.db.sql";

/// The shell, and where its tools come from.
struct Shell
{
    const char* m_pName;
    std::vector<std::string> m_lCommand;
    std::string m_sTools;
};

void PrintTo(const Shell& a_oShell, std::ostream* a_pStream)
{
    *a_pStream << a_oShell.m_pName;
}

class SaveCommand : public testing::TestWithParam<Shell>
{
protected:
    SaveCommand()
    {
        if (GetParam().m_sTools.empty()) {
            EXPECT_EQ(0, run("/bin/busybox", {{"--install", "-s", tools()}}).m_iStatus);
        }
        fs::create_symlink(LEDGER_RESTORE_BINARY, tools() + "/ledger-restore");
        for (const auto& sName : databaseNames()) {
            const fs::path oFactory = fs::path(LEDGERD_FACTORY) / fs::path(sName).replace_extension(".sql");
            fs::copy_file(oFactory, dump(sName + ".sql"));
        }
    }

    void SetUp() override
    {
        if (c_bSanitized) {
            GTEST_SKIP() << "what of this is compiled, ledger-restore, has tests of its own";
        }
    }

    std::string tools() const { return m_oSandbox.path("bin"); }
    std::string store() const { return m_oSandbox.path("flash/store"); }
    std::string dump(const std::string& a_sName) const { return m_oSandbox.path("flash/sql/" + a_sName); }
    std::string saved(int a_iGeneration, const std::string& a_sName) const
    {
        return store() + "/generation." + std::to_string(a_iGeneration) + "/" + a_sName;
    }

    Process::Start start(std::vector<std::string> a_lArguments = {}) const
    {
        const std::string& sTools = GetParam().m_sTools;
        Process::Start oStart{{GetParam().m_lCommand.begin() + 1, GetParam().m_lCommand.end()},
                              m_oSandbox.environment()};
        oStart.m_lEnvironment.emplace_back("PATH", tools() + (sTools.empty() ? "" : ":" + sTools));
        oStart.m_lArguments.emplace_back(LEDGERD_PACKAGING "/srv-save-config-active");
        oStart.m_lArguments.insert(oStart.m_lArguments.end(), a_lArguments.begin(), a_lArguments.end());
        return oStart;
    }
    const std::string& shell() const { return GetParam().m_lCommand.front(); }

    /// Saves, and expects that this succeeds; the line that is printed.
    std::string save() const
    {
        const auto oRun = run(shell(), start());
        EXPECT_EQ(0, oRun.m_iStatus);
        EXPECT_EQ("", oRun.m_sErrors);
        EXPECT_THAT(oRun.m_sOutput, EndsWith("\n"));
        return oRun.m_sOutput.substr(0, oRun.m_sOutput.find('\n'));
    }

    /// Saves, and expects a status, one line, and nothing changed or left behind.
    void expectRefusal(int a_iStatus, const std::string& a_sText) const
    {
        const std::string sBefore = content();
        const auto oRun = run(shell(), start());
        EXPECT_EQ(a_iStatus, oRun.m_iStatus);
        EXPECT_EQ("", oRun.m_sOutput);
        EXPECT_THAT(oRun.m_sErrors, StartsWith("srv-save-config-active: "));
        EXPECT_THAT(oRun.m_sErrors, HasSubstr(a_sText));
        EXPECT_EQ(oRun.m_sErrors.size() - 1, oRun.m_sErrors.find('\n')) << oRun.m_sErrors;
        EXPECT_EQ(sBefore, content());
        EXPECT_TRUE(leftNothing());
    }

    /// Everything in the store: inode, time of its last change, path and content.
    std::string content() const
    {
        return run("/bin/sh",
                   {{"-c", "find \"$0\" -mindepth 1 -printf '%i %T@ %p\\n'; cat \"$0\"/*/*", store()}})
            .m_sOutput;
    }

    std::vector<std::string> generations() const
    {
        std::vector<std::string> lNames;
        for (const auto& oEntry : fs::directory_iterator(store())) {
            lNames.push_back(oEntry.path().filename());
        }
        return lNames;
    }
    bool leftNothing() const { return fs::is_empty(m_oSandbox.path("var/run")); }

    /// Changes a dump, which stays complete.
    void change(const std::string& a_sDump, const std::string& a_sText) const
    {
        std::string sDump = readFile(dump(a_sDump));
        writeFile(dump(a_sDump), sDump.insert(sDump.find("COMMIT;"), "-- " + a_sText + "\n"));
    }

    const Sandbox m_oSandbox;
};

INSTANTIATE_TEST_SUITE_P(, SaveCommand,
                         testing::Values(Shell{"Workstation", {"/bin/sh"}, "/usr/bin:/bin"},
                                         Shell{"Busybox", {"/bin/busybox", "sh"}, ""}),
                         [](const auto& a_oInfo) { return a_oInfo.param.m_pName; });

TEST_P(SaveCommand, WritesWhatChangedAndKeepsThePreviousGeneration)
{
    std::size_t iBytes = 0;
    for (const auto& sName : databaseNames()) {
        iBytes += sName == "transient.db" ? 0 : fs::file_size(dump(sName + ".sql"));
    }
    EXPECT_EQ("saved generation 1: 7 of 7 databases, " + std::to_string(iBytes) + " bytes written", save());
    for (const auto& sName : databaseNames()) {
        const std::string sSaved = saved(1, sName + ".sql");
        if (sName == "transient.db") {
            EXPECT_FALSE(fs::exists(sSaved));
        } else {
            EXPECT_EQ(readFile(dump(sName + ".sql")), readFile(sSaved));
            EXPECT_EQ(fs::perms(0600), fs::status(sSaved).permissions());
        }
    }
    const std::string sBefore = content();
    EXPECT_EQ("unchanged: generation 1", save());
    EXPECT_EQ(sBefore, content());
    EXPECT_TRUE(leftNothing());

    change(c_pWeb, "2");
    EXPECT_THAT(save(), StartsWith("saved generation 2: 7 of 7 databases, "))
        << "the second copy of the others";
    change(c_pWeb, "3");
    EXPECT_EQ("saved generation 3: 1 of 7 databases, " + std::to_string(fs::file_size(dump(c_pWeb))) +
                  " bytes written",
              save());
    EXPECT_EQ(readFile(dump(c_pWeb)), readFile(saved(3, c_pWeb)));
    EXPECT_NE(readFile(dump(c_pWeb)), readFile(saved(2, c_pWeb)));
    EXPECT_THAT(generations(), UnorderedElementsAre("generation.2", "generation.3"));
}

TEST_P(SaveCommand, AFileThatIsCutIsWholeInTheOtherGeneration)
{
    const std::string sServices = "services.db.sql";
    save();
    // The other generation may be of a save command that gave both the same file.
    change(c_pWeb, "2");
    save();
    fs::remove(saved(1, sServices));
    fs::create_directories(saved(1, ""));
    fs::create_hard_link(saved(2, sServices), saved(1, sServices));
    change(c_pWeb, "3");
    EXPECT_THAT(save(), StartsWith("saved generation 3: 2 of 7 "));
    for (int iGeneration = 4; iGeneration < 8; ++iGeneration) {
        change(iGeneration == 5 ? sServices : c_pWeb, std::to_string(iGeneration));
        // What changed, and after a change of another database the second copy of that.
        EXPECT_THAT(save(), HasSubstr(iGeneration == 5 || iGeneration == 6 ? ": 2 of 7 " : ": 1 of 7 "));
        for (const auto& sName : databaseNames()) {
            if (sName != "transient.db") {
                EXPECT_FALSE(fs::equivalent(saved(iGeneration, sName + ".sql"),
                                            saved(iGeneration - 1, sName + ".sql")))
                    << sName << iGeneration;
            }
        }
    }
    const std::string sGood = readFile(saved(7, sServices));
    fs::resize_file(saved(7, sServices), sGood.size() - 20);
    EXPECT_EQ(sGood, readFile(saved(6, sServices)));
    EXPECT_THAT(save(), StartsWith("saved generation 8: ")) << "what is damaged is mended";
    EXPECT_EQ(sGood, readFile(saved(8, sServices)));
}

TEST_P(SaveCommand, CountsOnFromLargeNumbersAndLeavesAloneWhatIsNoGeneration)
{
    for (const char* pName : {"generation.99999999999", "generation.9", "generation.0100000000000",
                              "generation.", "generation.x7", "generation.-1", "mine"}) {
        fs::create_directories(store() + "/" + pName);
    }
    writeFile(store() + "/generation.100000000000", "no directory");
    EXPECT_THAT(save(), StartsWith("saved generation 100000000001: 7 of 7 "));
    EXPECT_THAT(generations(), UnorderedElementsAre("generation.99999999999", "generation.0100000000000",
                                                    "generation.", "generation.x7", "generation.-1", "mine",
                                                    "generation.100000000000", "generation.100000000001"));
}

TEST_P(SaveCommand, DamagedDumpNeverReplacesAGoodOne)
{
    const std::string sGood = readFile(dump(c_pWeb));
    const std::string sTail = sGood.substr(sGood.size() - 40);
    const std::string sHead = "PRAGMA foreign_keys=OFF;\nBEGIN TRANSACTION;\n";
    const std::string sCommitted = sGood.substr(0, sGood.find("COMMIT;"));
    save();
    const std::pair<std::string, std::string> aCases[] = {
        {sGood.substr(0, sGood.size() / 2), " does not load: cut off or rolled back: "},
        {sGood.substr(0, sGood.size() - 1), " does not load: cut off or rolled back: "},
        {sGood + "\n", " does not load: cut off or rolled back: "},
        {sGood.substr(sHead.size()), " does not load: does not begin as a dump\n"},
        {sCommitted + "ROLLBACK; -- due to errors\n", " does not load: cut off or rolled back: "},
        {"", " does not load: empty\n"},
        {sGood.substr(0, 300) + sTail, " does not load: "},
        {sCommitted + "INSERT INTO Missing VALUES(1);\nCOMMIT;\n", " does not load: "},
        {sCommitted + "INSERT INTO WebPage VALUES('\nCOMMIT;\n", " does not load"},
        {sCommitted + ".shell echo ran\nCOMMIT;\n", " does not load"},
        {sCommitted + "PRAGMA writable_schema=ON;\nCOMMIT;\n", " does not load: line "},
        {sCommitted + "-- " + std::string(1, '\0') + "\nCOMMIT;\n", " does not load: holds a NUL byte\n"},
        {sHead + "COMMIT;\n", " is empty\n"},
    };
    for (const auto& [sDump, sFault] : aCases) {
        writeFile(dump(c_pWeb), sDump);
        expectRefusal(1, c_pWeb + sFault);
    }
    fs::remove(dump(c_pWeb));
    expectRefusal(1, "there is no dump " + dump(c_pWeb));
    fs::create_directories(
        m_oSandbox.path("usr/share/ledgerd/factory")); // of a firmware without the database
    EXPECT_THAT(save(), HasSubstr("unchanged"));
    fs::remove_all(m_oSandbox.path("flash/sql"));
    expectRefusal(1, "there is no dump ");
}

TEST_P(SaveCommand, TakesNoDumpThatABootRefuses)
{
    fs::create_directories(m_oSandbox.path("usr/share/ledgerd"));
    fs::copy(LEDGERD_FACTORY, m_oSandbox.path("usr/share/ledgerd/factory"));
    const std::string sGood = readFile(dump(c_pWeb));
    save();
    // All of them load in the shell that writes the dumps.
    for (const char* pStatement :
         {"SAVEPOINT a;\nRELEASE a;", "PRAGMA writable_schema=ON;", "CREATE VIRTUAL TABLE V USING fts5(T);",
          "INSERT INTO WebPage(Path) WITH RECURSIVE N(I) AS (SELECT 1 UNION ALL SELECT I + 1 FROM N LIMIT 9)"
          " SELECT I FROM N;"}) {
        writeFile(dump(c_pWeb),
                  std::string(sGood).insert(sGood.rfind("COMMIT;"), pStatement + std::string("\n")));
        expectRefusal(1, ": may not ");
    }
    writeFile(dump(c_pWeb),
              "PRAGMA foreign_keys=OFF;\nBEGIN TRANSACTION;\nCREATE VIEW V AS SELECT 1;\nCOMMIT;\n");
    expectRefusal(1, ": holds no table\n");
}

TEST_P(SaveCommand, LeftoversOfAKilledSaveAreNoHindrance)
{
    Process oDead("/bin/true", {{}});
    oDead.wait();
    const std::string sMark = m_oSandbox.path("var/run/srv-save-config-active.");
    for (const pid_t iPid : {oDead.pid(), ::getpid()}) { // ours stands for a process id that is used again
        fs::create_directories(sMark + std::to_string(iPid) + "/dumps");
    }
    fs::create_directories(store() + "/new");
    writeFile(store() + "/new/old.db.sql", "from another time");

    save();
    EXPECT_THAT(generations(), ElementsAre("generation.1"));
    EXPECT_FALSE(fs::exists(saved(1, "old.db.sql")));
    EXPECT_TRUE(leftNothing());
}

TEST_P(SaveCommand, FullOrReadOnlyStoreKeepsItsGeneration)
{
    fs::create_directory(store());
    if (!mountSmallDisk(store(), "56k")) { // seen by this process alone, with which it goes at the latest
        GTEST_SKIP() << "mounting a small file system is not allowed here";
    }
    const auto remount = [this](unsigned long a_iFlags, const char* a_pOptions) {
        ASSERT_EQ(0, ::mount("tmpfs", store().c_str(), "tmpfs", MS_REMOUNT | a_iFlags, a_pOptions));
    };
    save();
    change("persistent-network.db.sql", "more");
    expectRefusal(2, "No space left on device");
    remount(MS_RDONLY, "");
    expectRefusal(2, "Read-only file system");

    remount(0, "size=112k");
    EXPECT_THAT(save(), StartsWith("saved generation 2: 1 of 7 ")) << "no second copies without room";
    EXPECT_EQ(7, std::ranges::count(readFile(saved(2, "contents")), '\n')) << "what a restore will look for";
    remount(MS_RDONLY, "");
    EXPECT_EQ("unchanged: generation 2", save());

    remount(0, "size=300k");
    change("persistent-network.db.sql", "copies");
    EXPECT_THAT(save(), StartsWith("saved generation 3: 7 of 7 "));
    remount(0,
            ("size=" + std::to_string(fs::space(store()).capacity - fs::space(store()).available)).c_str());
    change("persistent-network.db.sql", "without room for a third");
    EXPECT_THAT(save(), StartsWith("saved generation 4: 1 of 7 ")) << "copies never keep a change out";
    ::umount(store().c_str());
}

TEST_P(SaveCommand, DumpThatChangesWhileItIsCopiedIsCopiedAgain)
{
    m_oSandbox.setProgram("sleep", "exit");
    const std::string sOld = readFile(dump(c_pWeb));
    change(c_pWeb, "new");
    const std::string sNew = readFile(dump(c_pWeb));
    const std::string sNext = m_oSandbox.path("next");
    fs::rename(dump(c_pWeb), sNext);
    writeFile(dump(c_pWeb), sOld);
    m_oSandbox.setProgram("cp", "/bin/cp \"$@\" && case $1 in *flash/sql/persistent-web*)\n"
                                "[ ! -e " +
                                    sNext + " ] || /bin/mv " + sNext + " " + dump(c_pWeb) + "\nesac");
    save();
    EXPECT_EQ(sNew, readFile(saved(1, c_pWeb)));

    m_oSandbox.setProgram("cp", "/bin/cp \"$@\" && case $1 in *flash/sql/persistent-web*) echo >> " +
                                    dump(c_pWeb) + "\nesac");
    expectRefusal(1, " keep changing\n");
}

TEST_P(SaveCommand, DumpsOfADaemonThatWasKilledBetweenTwoAreNotSaved)
{
    m_oSandbox.setProgram("sleep", "exit");
    change(c_pWeb, "new");
    writeFile(fs::path(dump(c_pWeb)).replace_filename("incomplete"), "");
    expectRefusal(1, " are marked as incomplete\n");
}

TEST_P(SaveCommand, SavesAtTheSameTimeWaitForEachOther)
{
    Process oOne(shell(), start());
    Process oOther(shell(), start());
    EXPECT_EQ(0, oOne.wait()) << oOne.errors();
    EXPECT_EQ(0, oOther.wait()) << oOther.errors();
    EXPECT_THAT((std::vector{oOne.output(), oOther.output()}),
                UnorderedElementsAre(StartsWith("saved generation 1: 7 of 7 "), "unchanged: generation 1\n"));
}

TEST_P(SaveCommand, KilledBeforeAnyStepLeavesACompleteGeneration)
{
    // Each tool counts the steps of a save, and kills it with all its processes when its time has come.
    const std::string sReal = m_oSandbox.path("real");
    const std::string sSteps = m_oSandbox.path("steps");
    const std::string sTools = GetParam().m_sTools.empty() ? sReal : "/usr/bin";
    fs::rename(tools(), sReal);
    fs::create_directory(tools());
    for (const char* pTool : {"cat", "cmp", "cp", "ln", "mkdir", "mv", "rm", "sync", "ledger-restore"}) {
        const std::string sTool(pTool);
        const std::string& sDirectory = sTool == "ledger-restore" ? sReal : sTools;
        m_oSandbox.setProgram(pTool, std::string("printf ") + pTool[1] + " >> " + sSteps +
                                         "; read -r steps < " + sSteps +
                                         "; [ ${#steps} != \"$FATAL_STEP\" ] || kill -9 0; exec " +
                                         sDirectory + "/" + pTool + " \"$@\"");
    }
    auto oStart = start();
    oStart.m_lEnvironment.back().second = tools() + ":" + sTools;
    oStart.m_oInChild = [] { ::setpgid(0, 0); };
    oStart.m_lEnvironment.emplace_back("FATAL_STEP", "0");
    ASSERT_EQ(0, run(shell(), oStart).m_iStatus);
    int iStep = 0;
    std::string sOld = readFile(dump(c_pWeb));
    for (int iStatus = -1; iStatus != 0;) {
        ASSERT_LT(++iStep, 200);
        change(c_pWeb, "step " + std::to_string(iStep));
        fs::remove(sSteps);
        oStart.m_lEnvironment.back().second = std::to_string(iStep);
        iStatus = run(shell(), oStart).m_iStatus;
        ASSERT_THAT(iStatus, testing::AnyOf(-1, 0)) << iStep;

        int iNewest = 0;
        for (const std::string& sName : generations()) {
            iNewest = std::max(iNewest, sName.starts_with("generation.") ? std::stoi(sName.substr(11)) : 0);
        }
        for (const auto& sName : databaseNames()) {
            if (sName != "transient.db" && sName + ".sql" != c_pWeb) {
                EXPECT_EQ(readFile(dump(sName + ".sql")), readFile(saved(iNewest, sName + ".sql"))) << iStep;
            }
        }
        const std::string sNow = readFile(saved(iNewest, c_pWeb));
        EXPECT_THAT(sNow, testing::AnyOf(sOld, readFile(dump(c_pWeb)))) << iStep;
        sOld = sNow;
    }
    EXPECT_EQ(readFile(dump(c_pWeb)), sOld);
    EXPECT_GT(iStep, 20);
    // cp, sync, mv, sync, and only then rm of the oldest: each is known by its second letter
    EXPECT_THAT(readFile(sSteps), testing::ContainsRegex("p[mn]*y[^y]*v[^py]*y[^pyv]*m"));
    EXPECT_EQ(2U, generations().size());
    EXPECT_TRUE(leftNothing());
}

TEST_P(SaveCommand, ConfigurationNamesTheDirectories)
{
    const std::string sConfiguration = m_oSandbox.path("etc/ledger-store.conf");
    fs::rename(m_oSandbox.path("flash/sql"), m_oSandbox.path("my-dumps"));
    writeFile(sConfiguration,
              "# dump-directory=/nowhere\n\nunknown=key\n  dump-directory = \"/my-dumps\" \r\n"
              "store-directory=/a/store"); // without a newline
    save();
    EXPECT_TRUE(fs::exists(m_oSandbox.path("a/store/generation.1/services.db.sql")))
        << "whatever the file says, a trial stays below its root";
    EXPECT_FALSE(fs::exists(store()));

    fs::create_directory(store());
    for (const char* pLine :
         {"store-directory=a/store", "store-directory=/a/my store", "store-directory=/a/store # of flash",
          "store-directory", "store-directory=", "factory-directory=\"\""}) {
        writeFile(sConfiguration, std::string("dump-directory=/my-dumps\n") + pLine + "\n");
        expectRefusal(3, sConfiguration + ": line 2: ");
    }
    fs::remove(sConfiguration);
    auto oStart = start();
    oStart.m_lEnvironment.emplace_back("LEDGERD_DUMP_DIRECTORY", m_oSandbox.path("my-dumps"));
    EXPECT_EQ(0, run(shell(), oStart).m_iStatus) << "the daemon knows best where its dumps are";

    EXPECT_EQ(3, run(shell(), start({"now"})).m_iStatus);
    const auto oHelp = run(shell(), start({"--help"}));
    EXPECT_EQ(0, oHelp.m_iStatus);
    EXPECT_THAT(oHelp.m_sOutput, testing::AllOf(StartsWith("Stores the dumps"), HasSubstr("\n  4  ")));
}

} // namespace
} // namespace e2e
