// A backup on its way: made on one device, brought to another, and what is no backup kept out.
#include "tests/e2e/daemontest.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace e2e {
namespace {

/// True for a call of the system that makes, changes or removes a file under some name, or syncs it.
bool changesFiles(const __ptrace_syscall_info& a_oCall)
{
    switch (a_oCall.entry.nr) {
    case SYS_openat:
        return (a_oCall.entry.args[2] & O_CREAT) != 0;
#ifdef SYS_rename
    case SYS_rename:
    case SYS_mkdir:
    case SYS_unlink:
    case SYS_rmdir:
#endif
    case SYS_renameat2:
    case SYS_mkdirat:
    case SYS_unlinkat:
    case SYS_fsync:
        return true;
    default:
        return false;
    }
}

/// Kills a traced program at its n-th call that changes files. False when it has ended before.
bool killAtFileCall(pid_t a_iPid, int a_iCall)
{
    int iStatus = 0;
    ::waitpid(a_iPid, &iStatus, 0);
    ::ptrace(PTRACE_SETOPTIONS, a_iPid, 0, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (int iSignal = 0; a_iCall > 0;) {
        ::ptrace(PTRACE_SYSCALL, a_iPid, 0, iSignal);
        if (::waitpid(a_iPid, &iStatus, 0) != a_iPid || !WIFSTOPPED(iStatus)) {
            return false;
        }
        const bool bAtCall = WSTOPSIG(iStatus) == (SIGTRAP | 0x80);
        iSignal = bAtCall ? 0 : WSTOPSIG(iStatus);
        __ptrace_syscall_info oCall{};
        if (bAtCall && ::ptrace(PTRACE_GET_SYSCALL_INFO, a_iPid, sizeof oCall, &oCall) > 0 &&
            oCall.op == PTRACE_SYSCALL_INFO_ENTRY && changesFiles(oCall)) {
            --a_iCall;
        }
    }
    ::kill(a_iPid, SIGKILL);
    ::waitpid(a_iPid, &iStatus, 0);
    return true;
}

class Backup : public DaemonTest
{
protected:
    /// Runs ledger-restore on a device, with the factory of the project.
    static Finished restore(const Sandbox& a_oDevice, std::vector<std::string> a_lArguments,
                            std::function<void()> a_oInChild = {})
    {
        a_lArguments.insert(a_lArguments.end(), {"--factory-directory", LEDGERD_FACTORY});
        return run(LEDGER_RESTORE_BINARY, {.m_lArguments = std::move(a_lArguments),
                                           .m_lEnvironment = a_oDevice.environment(),
                                           .m_oInChild = std::move(a_oInChild)});
    }
    /// What a shell prints there.
    static std::string shell(const std::string& a_sDirectory, const std::string& a_sLine)
    {
        const auto oRun = run("/bin/sh", {{"-euc", "cd \"$0\"\n" + a_sLine, a_sDirectory}});
        EXPECT_EQ(0, oRun.m_iStatus) << a_sLine << "\n" << oRun.m_sErrors;
        return oRun.m_sOutput;
    }
    /// Everything below the directory: inode, rights, path, and content.
    static std::string content(const std::string& a_sDirectory)
    {
        return shell(a_sDirectory,
                     "find . -printf '%i %M %p\\n' | sort; find . -type f | sort | xargs -r cat");
    }
    /// Makes a store whose one generation is the factory's.
    static void saveFactory(const Sandbox& a_oDevice)
    {
        const std::string sGeneration = a_oDevice.path("flash/store/generation.4");
        fs::create_directories(sGeneration);
        for (const auto& sName : databaseNames()) {
            const fs::path oFactory = fs::path(LEDGERD_FACTORY) / fs::path(sName).replace_extension(".sql");
            fs::copy_file(oFactory, sGeneration + "/" + sName + ".sql");
        }
        fs::remove(sGeneration + "/transient.db.sql");
    }

    std::string makeBackup(const std::string& a_sName = "gateway.tgz")
    {
        const std::string sFile = m_oSandbox.path(a_sName);
        const auto oRun = ledgerctl({"backup", sFile});
        EXPECT_EQ(0, oRun.m_iStatus) << oRun.m_sErrors;
        return sFile;
    }
};

TEST_F(Backup, ComesUpOnADeviceWhereNothingWasEverSaved)
{
    start();
    EXPECT_EQ(0, ledgerctl({"set", "DhcpStaticLease", "--row", "0", "HostName=from A"}).m_iStatus);
    EXPECT_EQ(0, ledgerctl({"add", "Job", "Name=from A"}).m_iStatus); // B has no such table
    const std::string sOdd = m_oSandbox.path("it's: a backup.tgz");
    writeFile(sOdd, "older");
    fs::rename(makeBackup("it's: a backup.tgz"), m_oSandbox.path("moved"));
    EXPECT_EQ(fs::perms(0600), fs::status(m_oSandbox.path("moved")).permissions());
    fs::rename(m_oSandbox.path("moved"), sOdd);

    const Sandbox oB;
    fs::remove_all(oB.path("flash"));
    fs::remove_all(oB.path("tmp/db"));
    const auto oRestored = restore(oB, {"--from", sOdd});
    EXPECT_EQ(0, oRestored.m_iStatus) << oRestored.m_sErrors;
    EXPECT_THAT(oRestored.m_sOutput, StartsWith(sOdd + ": stored as generation 1\n"));
    EXPECT_THAT(oRestored.m_sOutput, HasSubstr("\nservices.db: generation 1\n"));
    EXPECT_EQ(std::vector<std::string>{"from A"},
              oB.sql("persistent-network.db", "SELECT HostName FROM DhcpStaticLease WHERE Id = 1"));
    EXPECT_EQ("700 .\n700 ./generation.1\n",
              shell(oB.path("flash/store"), "find . -type d -printf '%m %p\\n' | sort"));
    EXPECT_EQ("600\n", shell(oB.path("flash/store"), "find . -type f -printf '%m\\n' | sort -u"));
    EXPECT_TRUE(fs::exists(oB.path("tmp/db/unsaved"))) << "a board may keep its settings elsewhere";

    // An archive that names its files by their directory is as good.
    shell(oB.path("tmp"), "mkdir d; tar -C d -xzf \"" + sOdd + "\"; tar -C d -czf whole.tgz .; rm -r d");
    fs::remove_all(oB.path("flash"));
    EXPECT_EQ(0, restore(oB, {"--from", oB.path("tmp/whole.tgz")}).m_iStatus);
    EXPECT_EQ("7\n", shell(oB.path("flash/store/generation.1"), "ls -- $(cat contents) | wc -l"));

    // A boot finds the same, the same backup is stored already, and others leave two generations.
    fs::remove_all(oB.path("tmp/db"));
    EXPECT_THAT(restore(oB, {}).m_sOutput, HasSubstr("\nservices.db: generation 1\n"));
    const auto oAgain = restore(oB, {"--from", sOdd});
    EXPECT_THAT(oAgain.m_sOutput, StartsWith(sOdd + ": stored as generation 1\n")) << oAgain.m_sErrors;
    for (const char* pGeneration : {"2", "3"}) {
        EXPECT_EQ(0, ledgerctl({"add", "Job", std::string("Name=") + pGeneration}).m_iStatus);
        EXPECT_THAT(restore(oB, {"--from", makeBackup("next.tgz")}).m_sOutput,
                    HasSubstr(std::string("next.tgz: stored as generation ") + pGeneration));
    }
    EXPECT_EQ("generation.2\ngeneration.3\n", shell(oB.path("flash/store"), "ls"));
    EXPECT_EQ(64, restore(oB, {"--from", sOdd, "--keep"}).m_iStatus);
    EXPECT_EQ(3, restore(oB, {"--from", oB.path("none.tgz")}).m_iStatus);
    EXPECT_EQ(64, restore(oB, {"--from", ""}).m_iStatus);
    for (const char* pName : {"gateway.zip", "gateway.tar.XZ", "gateway.bz2"}) {
        const auto oRefused = ledgerctl({"backup", m_oSandbox.path(pName)});
        EXPECT_EQ(64, oRefused.m_iStatus);
        EXPECT_THAT(oRefused.m_sErrors, HasSubstr("a backup is a tar archive, not a ."));
    }
}

TEST_F(Backup, EqualToWhatIsStoredMakesNoGenerationWhateverItsListIs)
{
    start();
    const std::string sBackup = makeBackup("gateway.tgz");
    const Sandbox oB;
    for (const char* pChange : {"true", "LC_ALL=C sort -o contents contents", "rm contents"}) {
        EXPECT_THAT(restore(oB, {"--from", sBackup}).m_sOutput, HasSubstr(": stored as generation 1\n"));
        EXPECT_EQ("generation.1\n", shell(oB.path("flash/store"), "ls"));
        shell(oB.path("flash/store/generation.1"), std::string(pChange));
    }
    EXPECT_THAT(restore(oB, {"--from", sBackup}).m_sOutput, HasSubstr(": stored as generation 1\n"));
}

TEST_F(Backup, GoesThroughAPipe)
{
    start();
    EXPECT_EQ(0, ledgerctl({"set", "DhcpStaticLease", "--row", "0", "HostName=from A"}).m_iStatus);
    const Sandbox oB;
    const std::string sBackup = LEDGERCTL_BINARY " -s " + socket() + " backup - ";
    const std::string sFile = m_oSandbox.path("piped");
    const auto inA = [&](const std::string& a_sLine) {
        return run("/bin/sh", {.m_lArguments = {"-c", a_sLine}, .m_lEnvironment = m_oSandbox.environment()});
    };
    EXPECT_EQ("", inA("umask 0; " + sBackup + "> " + sFile).m_sErrors);
    EXPECT_EQ(fs::perms(0600), fs::status(sFile).permissions());
    EXPECT_EQ(1, inA(sBackup + "> /dev/full").m_iStatus);

    const std::string sRestore = "LEDGERD_ROOT=" + oB.path("") +
                                 " " LEDGER_RESTORE_BINARY " --factory-directory " LEDGERD_FACTORY
                                 " --from -";
    const auto oPiped = inA(sBackup + " | cat | " + sRestore);
    EXPECT_EQ(0, oPiped.m_iStatus) << oPiped.m_sErrors;
    EXPECT_THAT(oPiped.m_sOutput, StartsWith("standard input: stored as generation 1\n"));
    EXPECT_EQ(std::vector<std::string>{"from A"},
              oB.sql("persistent-network.db", "SELECT HostName FROM DhcpStaticLease WHERE Id = 1"));
    const auto oCut = inA("head -c 700 " + sFile + " | " + sRestore);
    EXPECT_EQ(3, oCut.m_iStatus);
    EXPECT_THAT(oCut.m_sErrors, HasSubstr("standard input is not restored, nothing has changed: "));
    EXPECT_EQ("", shell(oB.path("tmp/db"), "ls | grep backup || :"));
}

TEST_F(Backup, ThatIsInterruptedLeavesNoCopiesOfPasswords)
{
    start();
    m_oSandbox.setProgram("tar", "/bin/echo > " + m_oSandbox.path("started") +
                                     "\n/bin/sleep 1\nexec /bin/tar \"$@\"");
    Process oBackup(LEDGERCTL_BINARY, {.m_lArguments = {"-s", socket(), "backup", m_oSandbox.path("cut.tgz")},
                                       .m_lEnvironment = m_oSandbox.environment()});
    EXPECT_TRUE(eventually([this] { return fs::exists(m_oSandbox.path("started")); }));
    EXPECT_EQ(0, ::kill(oBackup.pid(), SIGTERM));
    const int iStatus = oBackup.wait().value_or(0);
    EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGTERM);
    EXPECT_EQ("", shell(m_oSandbox.path(""), "ls -d tmp/ledgerctl.* cut.tgz.* 2> /dev/null || :"));
}

TEST_F(Backup, OfAHungDaemonEndsAfterItsTimeOut)
{
    start();
    daemon().signal(SIGSTOP);
    const auto oBegin = std::chrono::steady_clock::now();
    const auto oHung = ledgerctl({"-t", "2", "backup", m_oSandbox.path("hung.tgz")});
    const auto oTook = std::chrono::steady_clock::now() - oBegin;
    EXPECT_EQ(69, ledgerctl({"-t", "1", "ctl", "lock"}).m_iStatus);
    daemon().signal(SIGCONT);
    EXPECT_EQ(0, ledgerctl({"ctl", "unlock"}).m_iStatus);
    EXPECT_EQ(0U, client().info("Locked")) << "ledgerctl ends when both were taken";
    EXPECT_EQ(69, oHung.m_iStatus);
    EXPECT_THAT(oHung.m_sErrors, HasSubstr("no answer within 2 s"));
    EXPECT_LT(oTook, std::chrono::milliseconds(3500)) << "one time-out, not two";
}

TEST_F(Backup, ExportIsForItsOwnerAlone)
{
    start();
    const std::string sFile = m_oSandbox.path("settings.json");
    writeFile(sFile, "older, and readable by all");
    const zel::UniqueFd oReader(::open(sFile.c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(0, ledgerctl({"export", "Item", "-o", sFile}).m_iStatus);
    const std::string sExport = ledgerctl({"export", "Item"}).m_sOutput;
    EXPECT_EQ(sExport, readFile(sFile));
    EXPECT_EQ(fs::perms(0600), fs::status(sFile).permissions());
    char aSeen[8192];
    EXPECT_EQ(26, ::read(oReader.get(), aSeen, sizeof aSeen)) << "who has the old file open";

    const std::string sRedirected = m_oSandbox.path("redirected.json");
    const std::string sCommand = LEDGERCTL_BINARY " -s " + socket() + " export Item > " + sRedirected;
    EXPECT_EQ(0, run("/bin/sh", {{"-c", "umask 0; " + sCommand}}).m_iStatus);
    EXPECT_EQ(sExport, readFile(sRedirected));
    EXPECT_EQ(fs::perms(0600), fs::status(sRedirected).permissions());

    EXPECT_EQ(sExport, ledgerctl({"export", "Item", "-o", "-"}).m_sOutput);
    EXPECT_EQ(64, ledgerctl({"export", "-o", "/dev/null"}).m_iStatus);
    EXPECT_EQ(1, ledgerctl({"export", "-o", "/nowhere/settings.json"}).m_iStatus);
    EXPECT_EQ(8, ledgerctl({"export", "Nonsense", "-o", sFile}).m_iStatus);
    EXPECT_EQ(sExport, readFile(sFile)) << "of a failure";
}

TEST_F(Backup, IsRefusedWhileADaemonOrASaveRuns)
{
    start();
    const std::string sFile = makeBackup();
    const auto oBeside = restore(m_oSandbox, {"--from", sFile});
    EXPECT_EQ(2, oBeside.m_iStatus);
    EXPECT_THAT(oBeside.m_sErrors, HasSubstr("ledgerd must be stopped first"));
    EXPECT_FALSE(fs::exists(m_oSandbox.path("flash/store")));
    stop();

    const Process oSave("/bin/sh", {{"-c", "sleep 60; : srv-save-config-active"}});
    const std::string sClaim =
        m_oSandbox.path("var/run/srv-save-config-active." + std::to_string(oSave.pid()));
    fs::create_directory(sClaim);
    const auto oDuring = restore(m_oSandbox, {"--from", sFile});
    EXPECT_EQ(3, oDuring.m_iStatus);
    EXPECT_THAT(oDuring.m_sErrors, HasSubstr(": a save is under way, process "));
    oSave.signal(SIGKILL);
}

TEST_F(Backup, HostileArchivesAreRefusedWithNothingChanged)
{
    start();
    const std::string sGood = makeBackup();
    stop();
    const Sandbox oB;
    saveFactory(oB);
    EXPECT_EQ(0, restore(oB, {}).m_iStatus);
    fs::remove(oB.path("tmp/db/unsaved"));
    const std::string sWork = m_oSandbox.path("work");
    const std::string sBefore = content(oB.path("flash")) + content(oB.path("tmp"));
    const char* const pNoDump = "holds what is no dump of a database: ";
    // Each begins with the dumps of a good one in a directory, "d", and makes "bad".
    const std::pair<const char*, std::string> aCases[] = {
        {"ln -sf /etc/passwd d/services.db.sql; tar -C d -czf bad .", pNoDump},
        {"rm d/services.db.sql; ln -s /etc/passwd d/services.db.sql; tar -C d -czf bad $names", pNoDump},
        {"ln -f d/persistent-area.db.sql d/services.db.sql; tar -C d -czf bad $names", pNoDump},
        {"rm d/services.db.sql; mkfifo d/services.db.sql; tar -C d -czf bad $names", pNoDump},
        {"rm d/services.db.sql; mknod d/services.db.sql c 1 5; tar -C d -czf bad $names", pNoDump},
        {"rm d/services.db.sql; mkdir d/services.db.sql; tar -C d -czf bad $names", pNoDump},
        {"echo x > d/extra; tar -C d -czf bad $names extra", pNoDump + std::string("the file \"extra\"")},
        {"mkdir d/sub; tar -C d -czf bad .", pNoDump + std::string("the directory \"./sub/\"")},
        {"cp d/services.db.sql d/persistent-web.db.sql; tar -C d -czf bad $names",
         "persistent-web.db.sql: is a dump of services.db, not of persistent-web.db"},
        {"tar -C d -czf bad --transform='s,^services,../services,' $names", ""},
        {"tar -C d -czf bad -P --transform='s,^services,/tmp/services,' $names", ""},
        {"tar -C d -czf bad --transform='s,^services,5 2026-11-23 10:10 services,' $names",
         "services.db.sql: "},
        {"tar -C d -czf bad $names services.db.sql", pNoDump},
        {"tar -C d -cf bad $names; tar -C d -rf bad services.db.sql", "holds services.db.sql twice"},
        {"rm d/services.db.sql; tar -C d -czf bad $(ls d)", "holds no services.db.sql"},
        {"truncate -s 100G d/services.db.sql; tar -C d -cf - -S $names | head -c 1M | gzip > bad", ""},
        {"seq -f x%.0f 100000 | tar -cf bad -T /dev/null; head -c 20000000 /dev/zero | gzip > bad",
         "holds no "},
        {"head -c 300 good > bad", "not an archive that tar can read: "},
        {"gzip -dc < good | head -c 9000 > bad", ""},
        {"echo no archive at all, and longer than a magic number > bad",
         "not an archive that tar can read: "},
        {": > bad", ""},
        {"echo 'COMMIT;' > d/services.db.sql; tar -C d -czf bad $names",
         "services.db.sql: does not begin as a dump"},
        {"sed -i 's/^COMMIT;/ATTACH \"x\" AS y;\\nCOMMIT;/' d/services.db.sql; tar -C d -czf bad $names",
         "services.db.sql: line "},
    };
    for (const auto& [pMake, sFault] : aCases) {
        fs::remove_all(sWork);
        fs::create_directories(sWork + "/d");
        shell(sWork, "cp '" + sGood + "' good; tar -C d -xzf good; names=$(ls d)\n" + pMake);
        for (const bool bBusybox : {false, true}) { // the tar of a workstation, and of a gateway
            bBusybox ? fs::create_symlink("/bin/busybox", oB.path("bin/tar"))
                     : void(fs::remove(oB.path("bin/tar")));
            const auto oRefused = restore(oB, {"--from", sWork + "/bad"});
            const std::string& sErrors = oRefused.m_sErrors;
            EXPECT_EQ(3, oRefused.m_iStatus) << pMake << "\n" << oRefused.m_sOutput;
            EXPECT_EQ("", oRefused.m_sOutput) << pMake;
            EXPECT_THAT(sErrors, HasSubstr("/bad is not restored, nothing has changed: " + sFault)) << pMake;
        }
    }
    EXPECT_EQ(sBefore, content(oB.path("flash")) + content(oB.path("tmp")));
}

TEST_F(Backup, LeavesTheOldGenerationOrTheNewOneWhereverItIsKilled)
{
    if (c_bSanitized) {
        GTEST_SKIP() << "what is traced takes its time";
    }
    start();
    EXPECT_EQ(0, ledgerctl({"set", "DhcpStaticLease", "--row", "0", "HostName=from A"}).m_iStatus);
    const std::string sFile = makeBackup("gateway.tar");
    stop();
    const Sandbox oB;
    saveFactory(oB);
    const std::string sStore = oB.path("flash/store");
    const std::string sOld = content(sStore + "/generation.4");
    const std::string sNew = m_oSandbox.path("new");
    fs::create_directory(sNew);
    const std::string sDumps = shell(sNew, "tar -xf ../gateway.tar; cat *");

    int iKills = 0;
    int iOfNewGeneration = 0;
    for (int iCall = 1; iOfNewGeneration < 3; ++iCall) {
        Process oRestore(LEDGER_RESTORE_BINARY,
                         {.m_lArguments = {"--from", sFile, "--factory-directory", LEDGERD_FACTORY},
                          .m_lEnvironment = oB.environment(),
                          .m_oInChild = [] { ::ptrace(PTRACE_TRACEME, 0, 0, 0); }});
        ASSERT_TRUE(killAtFileCall(oRestore.pid(), iCall));
        ++iKills;
        EXPECT_EQ(sOld, content(sStore + "/generation.4")) << iCall;
        if (fs::exists(sStore + "/generation.5")) {
            EXPECT_EQ(sDumps, shell(sStore + "/generation.5", "cat *.sql")) << iCall;
            fs::remove_all(sStore + "/generation.5");
            ++iOfNewGeneration;
        }
    }
    EXPECT_GT(iKills, 20) << "each dump is made and synced";
    EXPECT_EQ(0, restore(oB, {"--from", sFile}).m_iStatus);
    EXPECT_FALSE(fs::exists(sStore + "/new"));
    EXPECT_EQ("", shell(oB.path("var/run"), "ls")) << "claims of the killed";
}

TEST_F(Backup, WhoseRestoreIsInterruptedLeavesNeitherClaimNorCopy)
{
    start();
    const std::string sFile = makeBackup();
    stop();
    const Sandbox oB;
    saveFactory(oB);
    const std::string sBefore = content(oB.path("flash"));
    const std::string sStarted = oB.path("started");
    oB.setProgram("tar", "case \"$*\" in *-xO*) [ -e " + sStarted + " ] || { /bin/echo > " + sStarted +
                             "; /bin/sleep 1; } ;; esac\nexec /bin/tar \"$@\"");
    Process oRestore(LEDGER_RESTORE_BINARY,
                     {.m_lArguments = {"--from", sFile, "--factory-directory", LEDGERD_FACTORY},
                      .m_lEnvironment = oB.environment()});
    ASSERT_TRUE(eventually([&] { return fs::exists(sStarted); })) << oRestore.errors();
    EXPECT_TRUE(fs::exists(oB.path("flash/store/new")));
    oRestore.signal(SIGTERM);
    const int iStatus = oRestore.wait().value_or(0);
    EXPECT_TRUE(WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 3) << iStatus;
    EXPECT_THAT(oRestore.errors(), HasSubstr("nothing has changed: interrupted by a signal"));
    EXPECT_EQ(sBefore, content(oB.path("flash")));
    EXPECT_EQ("", shell(oB.path("var/run"), "ls"));
}

TEST_F(Backup, DiskThatIsFullKeepsTheOldGeneration)
{
    start();
    const std::string sFile = makeBackup();
    stop();
    const Sandbox oB;
    saveFactory(oB);
    const std::string sStore = oB.path("flash/store");
    const std::string sBefore = content(oB.path("flash"));
    const auto oFull = restore(oB, {"--from", sFile}, [] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit oLimit{4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &oLimit);
    });
    EXPECT_EQ(3, oFull.m_iStatus);
    EXPECT_THAT(oFull.m_sErrors,
                HasSubstr("nothing has changed: persistent-common.db.sql: File too large\n"));
    EXPECT_EQ(sBefore, content(oB.path("flash")));

    // A kilobyte that becomes 16 MiB, and a disk with room for less.
    const std::string sWork = m_oSandbox.path("work");
    fs::create_directory(sWork);
    shell(sWork,
          "tar -xzf " + sFile + "; names=$(ls); truncate -s 16M services.db.sql; tar -czf bomb $names");
    const auto oBomb =
        restore(oB, {"--from", sWork + "/bomb"}, [&] { mountSmallDisk(oB.path("flash/store")); });
    EXPECT_EQ(3, oBomb.m_iStatus);
    EXPECT_THAT(oBomb.m_sErrors, HasSubstr("/store has room for 4096\n"));
}

} // namespace
} // namespace e2e
