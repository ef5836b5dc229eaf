// How ledgerd starts, refuses to start, and ends.
#include "systema/unixsocketserver.h"
#include "tests/e2e/daemontest.h"
#include "tests/logdaemon.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <sys/fsuid.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace e2e {
namespace {

namespace fs = std::filesystem;
using fs::exists;

class Lifecycle : public DaemonTest
{
protected:
    std::string pidText() { return std::to_string(daemon().pid()) + "\n"; }

    /// The daemon and what became of its starter. It is our child, so that we can end it and see how it ends.
    std::pair<pid_t, Finished> startInBackground(const std::vector<std::string>& a_lOptions)
    {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
        Finished oStarter = runDaemon(paths(a_lOptions));
        const bool bRuns = eventually([this] { return exists(m_oSandbox.pidFile()); });
        EXPECT_TRUE(bRuns);
        return {bRuns ? std::stoi(readFile(m_oSandbox.pidFile())) : -1, oStarter};
    }

    static int endInBackground(pid_t a_iDaemon)
    {
        int iStatus = -1;
        if (a_iDaemon <= 0) {
            return iStatus;
        }
        ::kill(a_iDaemon, SIGTERM);
        if (!eventually([&] { return ::waitpid(a_iDaemon, &iStatus, WNOHANG) == a_iDaemon; })) {
            ::kill(a_iDaemon, SIGKILL);
            ::waitpid(a_iDaemon, nullptr, 0);
        }
        return iStatus;
    }
};

TEST_F(Lifecycle, ASignalEndsTheDaemonWithStatus0AndItTidiesUp)
{
    for (const int iSignal : {SIGINT, SIGTERM, SIGQUIT}) {
        start();
        EXPECT_EQ(pidText(), readFile(m_oSandbox.pidFile()));
        EXPECT_EQ(fs::perms(0644), fs::status(m_oSandbox.pidFile()).permissions());
        EXPECT_EQ(fs::perms(0666), fs::status(socket()).permissions());
        EXPECT_THAT(client().codes(request::Begin{}, setNote("not committed")), Each(0U));
        ASSERT_TRUE(eventually([this] { return isWaiting(); }));

        daemon().signal(iSignal);
        EXPECT_EQ(0, daemon().wait());
        EXPECT_TRUE(client().call(request::Ping{}).isConnectionError());
        EXPECT_FALSE(exists(socket()));
        EXPECT_FALSE(exists(m_oSandbox.pidFile()));
        EXPECT_THAT(daemon().errors(), HasSubstr("ledgerd main:512: run: started and running\n"));
        EXPECT_THAT(daemon().errors(), EndsWith("ledgerd main:573: main: exiting\n"));
        EXPECT_THAT(m_oSandbox.sql("persistent-common.db", "SELECT Note FROM Item WHERE Id = 1"),
                    ElementsAre("red"));
    }
}

TEST_F(Lifecycle, ASignalWithoutAMeaningEndsTheDaemonWithALineAndLeavesNothing)
{
    for (const int iSignal : {SIGHUP, SIGUSR1, SIGPROF, SIGRTMAX}) {
        const std::string sKept = std::to_string(iSignal);
        start();
        EXPECT_EQ(0U, client().code(setNote(sKept)));
        daemon().signal(iSignal);
        const auto oStatus = daemon().wait();
        EXPECT_TRUE(oStatus && WIFSIGNALED(*oStatus) && WTERMSIG(*oStatus) == iSignal);
        EXPECT_THAT(daemon().errors(), HasSubstr("Signal " + sKept + " (" + ::strsignal(iSignal) + ") ends"));
        EXPECT_FALSE(exists(socket()) || exists(m_oSandbox.pidFile()));
        EXPECT_THAT(readFile(m_oSandbox.path("flash/sql/persistent-common.db.sql")), HasSubstr(sKept));
    }
    start({}, [] { std::signal(SIGHUP, SIG_IGN); }); // as nohup does
    daemon().signal(SIGHUP);
    EXPECT_EQ(0U, client().code(request::Ping{}));
}

// As who cleans /tmp up does.
TEST_F(Lifecycle, ASocketOrFifoThatWasRemovedIsMadeAgainAndAnothersIsLeftAlone)
{
    const std::string sFifo = m_oSandbox.path("tmp/ledgerd.fifo");
    start();
    fs::remove(socket());
    fs::remove(sFifo);
    ASSERT_TRUE(eventually([&] { return exists(socket()) && exists(sFifo); }));
    EXPECT_EQ(fs::perms(0666), fs::status(socket()).permissions());
    EXPECT_EQ(fs::perms(0666), fs::status(sFifo).permissions());
    EXPECT_EQ(0U, Client(socket()).code(setNote("new")));
    EXPECT_EQ("new", note()) << "by the connection that was there before";
    command("waittime 0");

    // Another user is quicker, before anything is missed.
    const bool bRoot = ::geteuid() == 0;
    const std::string sForeign = m_oSandbox.path("tmp/foreign");
    fs::permissions(m_oSandbox.path("tmp"), fs::perms(01777));
    for (const auto& sName : bRoot ? std::vector{socket(), sFifo} : std::vector<std::string>()) {
        writeFile(sForeign, "");
        ASSERT_EQ(0, ::lchown(sForeign.c_str(), 1000, 1000));
        fs::rename(sForeign, sName);
    }
    ASSERT_TRUE(eventually([&] { return fs::is_socket(socket()) && fs::is_fifo(sFifo); }));
    EXPECT_EQ(0U, Client(socket()).code(request::Ping{}));
    command("waittime 0");

    systema::net::UnixSocketServer oOther;
    fs::remove(socket());
    oOther.bind(socket(), 0600);
    oOther.listen(1);
    daemon().signal(SIGTERM);
    EXPECT_EQ(0, daemon().wait());
    EXPECT_EQ(fs::perms(0600), fs::status(socket()).permissions()) << "the other's";
    EXPECT_THAT(daemon().errors(), HasSubstr("The socket was removed and is made again"));
    EXPECT_THAT(daemon().errors(), HasSubstr("The FIFO was removed and is made again"));
}

TEST_F(Lifecycle, AKilledDaemonLosesItsOpenTransactionOnlyAndTheNextFindsItsWay)
{
    for (const int iSignal : {SIGKILL, SIGABRT}) {
        const std::string sKept = std::to_string(iSignal);
        start();
        EXPECT_THAT(client().codes(setNote(sKept), request::Begin{}, setNote("lost")), Each(0U));
        daemon().signal(iSignal);
        const auto oStatus = daemon().wait();
        EXPECT_TRUE(oStatus && WIFSIGNALED(*oStatus) && WTERMSIG(*oStatus) == iSignal);
        EXPECT_TRUE(exists(socket()) && exists(m_oSandbox.pidFile()));

        start();
        EXPECT_EQ(pidText(), readFile(m_oSandbox.pidFile()));
        EXPECT_EQ(sKept, note());
        stop();
    }
}

// Who has the id of a killed daemon may be anybody, and its save command may outlive it.
TEST_F(Lifecycle, NeitherItsIdNorItsSaveCommandKeepsTheNextFromStartingWhenADaemonWasKilled)
{
    const std::string sCommand = m_oSandbox.path("command");
    m_oSandbox.setProgram("srv-save-config-active", "echo $$ > " + sCommand + "; exec sleep 1000");
    start();
    EXPECT_EQ(0U, client().code(setNote("new")));
    command("trigger");
    ASSERT_TRUE(eventually([&] { return exists(sCommand) && !readFile(sCommand).empty(); }));
    const pid_t iCommand = std::stoi(readFile(sCommand));
    daemon().signal(SIGKILL);
    daemon().wait();
    writeFile(m_oSandbox.pidFile(), std::to_string(::getpid()) + "\n");

    m_oSandbox.setProgram("srv-save-config-active", "");
    start();
    EXPECT_EQ(pidText(), readFile(m_oSandbox.pidFile()));
    EXPECT_EQ(0, ::kill(iCommand, SIGKILL)) << "the command did not outlive the daemon";
}

TEST_F(Lifecycle, ASecondDaemonWithAnotherPidFileLeavesTheDatabasesAndTheFifoOfTheFirst)
{
    start();
    const std::string sOther = m_oSandbox.path("second");
    fs::create_directory(sOther);
    for (const char* pWhere : {"-v", "-b"}) {
        const auto oSecond = runDaemon(paths({"-p", sOther, "-s", sOther + "/socket", pWhere}));
        EXPECT_EQ(1, oSecond.m_iStatus);
        EXPECT_TRUE(fs::is_empty(sOther));
        if (exists(sOther + "/ledgerd.pid")) {
            ::kill(std::stoi(readFile(sOther + "/ledgerd.pid")), SIGKILL); // nothing stays behind
        }
        if (pWhere == std::string_view("-v")) {
            EXPECT_THAT(oSecond.m_sErrors, EndsWith(": Another process uses the databases in " +
                                                    m_oSandbox.path("tmp/db") + ". Exiting...\n"));
            EXPECT_EQ(1, std::ranges::count(oSecond.m_sErrors, '\n')) << oSecond.m_sErrors;
        }
    }
    EXPECT_TRUE(openFifo());
    EXPECT_EQ(0U, client().code(setNote("new")));
    command("trigger");
}

// Who made the FIFO could put a link in its place while the daemon was about to change its mode.
TEST_F(Lifecycle, ALocalUserNeitherHasAFileOfRootsMadeWorldWritableNorKeepsTheDaemonFromStarting)
{
    const std::string sTmp = m_oSandbox.path("tmp");
    const std::string sFifo = sTmp + "/ledgerd.fifo";
    const std::string sSecret = m_oSandbox.path("etc/secret");
    constexpr uid_t c_iUser = 65534;
    writeFile(sSecret, "root's");
    fs::permissions(sSecret, fs::perms(0600));
    fs::permissions(sTmp, fs::perms(0777) | fs::perms::sticky_bit);
    ASSERT_EQ(0, ::mkfifo(sFifo.c_str(), 0666) | ::chown(sFifo.c_str(), c_iUser, c_iUser));

    const zel::UniqueFd oWatch(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    ASSERT_GE(::inotify_add_watch(oWatch.get(), sFifo.c_str(), IN_OPEN), 0);
    std::atomic<bool> bDone = false;
    std::thread oAttacker([&] {
        ::setfsuid(c_iUser); // of this thread alone
        std::array<char, 4096> aEvents;
        while (!bDone) {
            if (::read(oWatch.get(), aEvents.data(), aEvents.size()) > 0 && ::unlink(sFifo.c_str()) == 0) {
                (void)!::symlink(sSecret.c_str(), sFifo.c_str());
            }
        }
    });
    start();
    bDone = true;
    oAttacker.join();
    EXPECT_EQ(fs::perms(0600), fs::status(sSecret).permissions());
    EXPECT_EQ(fs::perms(0666), fs::symlink_status(sFifo).permissions());
    EXPECT_EQ(fs::perms(0666), fs::symlink_status(socket()).permissions());
    command("trigger");
}

TEST_F(Lifecycle, RunsOnWithoutAPlaceForItsPidFileAndAfterAPipeSignal)
{
    const std::string sPlace = m_oSandbox.path("nowhere");
    start({"-p", sPlace});
    EXPECT_THAT(daemon().errors(),
                HasSubstr("Could not create PID file " + sPlace + "/ledgerd.pid: No such file"));
    EXPECT_THAT(logOf([this] {
                    daemon().signal(SIGPIPE);
                    EXPECT_EQ(0U, client().code(request::Ping{}));
                }),
                ElementsAre("error ledgerd Unexpected signal caught"));
}

TEST_F(Lifecycle, SecondInstanceIsRefusedBeforeItTouchesAnything)
{
    start();
    const auto oSecond = runDaemon(paths({"-d", m_oSandbox.path("no/such/directory")}));
    EXPECT_EQ(1, oSecond.m_iStatus);
    EXPECT_THAT(oSecond.m_sErrors,
                EndsWith("ledgerd main:361: Another process is already running. Exiting...\n"));
    EXPECT_EQ(1, std::ranges::count(oSecond.m_sErrors, '\n')) << oSecond.m_sErrors;

    EXPECT_EQ(pidText(), readFile(m_oSandbox.pidFile()));
    EXPECT_EQ(3U, client().count("Item"));
    EXPECT_EQ(3U, Client(socket()).count("Item"));
}

TEST_F(Lifecycle, AStartInTheBackgroundThatFailsTellsTheTerminal)
{
    start();
    fs::copy(m_oSandbox.path("tmp/db"), m_oSandbox.path("copies"));
    const std::pair<std::vector<std::string>, std::string> aCases[] = {
        {{}, "ledgerd already runs with PID " + pidText()},
        {{"-p", m_oSandbox.path("etc")},
         "ledgerd: another process uses the databases in " + m_oSandbox.path("tmp/db") + "\n"},
        {{"-p", m_oSandbox.path("etc"), "-d", m_oSandbox.path("copies")},
         "ledgerd: " + socket() + ": Address already in use\n"},
        {{"-p", m_oSandbox.path("etc"), "-d", "/nonexistent"},
         "ledgerd: /nonexistent: No such file or directory\n"},
    };
    for (auto [lOptions, sText] : aCases) {
        lOptions.emplace_back("-b");
        const auto oRun = runDaemon(paths(lOptions));
        EXPECT_EQ(1, oRun.m_iStatus);
        EXPECT_EQ(sText, oRun.m_sErrors);
    }
}

TEST_F(Lifecycle, WhatKeepsTheDaemonFromStartingIsLoggedAndLeavesNothing)
{
    start();
    const std::string sFile = m_oSandbox.path("file");
    const std::string sLink = m_oSandbox.path("link");
    const std::string sMissing = m_oSandbox.path("no/such");
    const std::string sLongPath = m_oSandbox.path(std::string(120, 'x'));
    const std::string sPidPath = m_oSandbox.path("second");
    const std::string sFree = sPidPath + "/socket";
    const std::string sDatabases = m_oSandbox.path("copies");
    fs::copy(m_oSandbox.path("tmp/db"), sDatabases);
    writeFile(sFile, "mine");
    ASSERT_EQ(0, ::geteuid() != 0 ? 0 : ::chown(sFile.c_str(), 65534, 65534)); // no place of everybody's
    fs::create_symlink(sMissing, sLink);
    fs::create_directory(sPidPath);
    struct
    {
        std::vector<std::string> m_lOptions;
        std::string m_sLog;
    } const aCases[] = {
        {{"-s", socket()}, socket() + ": Address already in use"},
        {{"-s", sFile}, sFile + " is no socket: File exists"},
        {{"-s", sLink}, sLink + " is no socket: File exists"},
        {{"-s", sLongPath}, sLongPath + ": a socket's path has at most 107 bytes"},
        {{"-s", sMissing}, sMissing + ": No such file"},
        {{"-x", std::string(102, 'x')},
         std::string(102, 'x') + ": a dump directory's path has at most 101 bytes"},
        {{"-x", "a dump"},
         "a directory of databases or dumps may have letters, digits and ._/+-,:=@%: a dump"},
        {{"-s", sFree, "-d", sMissing}, sMissing + ": No such file"},
        {{"-s", sFree, "-d", sFile}, sFile + ": Not a directory"},
        {{"-s", sFree, "-f", sFile}, sFile + " is no FIFO: File exists"},
    };
    for (auto [lOptions, sLog] : aCases) {
        lOptions.insert(lOptions.begin(), {"-p", sPidPath, "-d", sDatabases});
        const auto oRun = runDaemon(paths(lOptions));
        EXPECT_EQ(1, oRun.m_iStatus) << "what started it would take it for stopped";
        EXPECT_THAT(oRun.m_sErrors, HasSubstr("main:577: " + sLog));
        EXPECT_TRUE(fs::is_empty(sPidPath));
    }
    EXPECT_EQ("mine", readFile(sFile));
    EXPECT_TRUE(fs::is_symlink(sLink));
    // Whose socket it is goes on.
    EXPECT_EQ(0U, Client(socket()).code(setNote("new")));
    EXPECT_EQ("new", note());
}

TEST_F(Lifecycle, WithoutADatabaseItDoesNotStartAndWithSomeItNamesTheOthers)
{
    const fs::path oDatabases = m_oSandbox.path("tmp/db");
    const fs::path oCopies = m_oSandbox.path("copies");
    fs::copy(oDatabases, oCopies);
    fs::remove_all(oDatabases);
    fs::create_directory(oDatabases);
    writeFile(oDatabases / "transient.db", "");
    const auto oRun = runDaemon(paths({}));
    EXPECT_EQ(1, oRun.m_iStatus);
    EXPECT_THAT(oRun.m_sErrors, HasSubstr("main:577: There is no database in " + oDatabases.string() +
                                          ": ledger-restore has to run first\n"));
    EXPECT_FALSE(exists(oDatabases / "services.db")) << "an empty one that a later restore might keep";

    fs::copy(oCopies / "persistent-common.db", oDatabases);
    fs::copy(oCopies / "persistent-network.db", oDatabases);
    start();
    EXPECT_THAT(daemon().errors(),
                HasSubstr("Not in " + oDatabases.string() +
                          ": transient.db, persistent-phone.db, persistent-tr069.db, persistent-web.db, "
                          "services.db, persistent-area.db; their tables are missing"));
    EXPECT_EQ(3U, Client(socket()).count("Item"));
}

TEST_F(Lifecycle, BackgroundDaemonGoesOnWhenItsStarterHasEnded)
{
    const auto [iDaemon, oStarter] = startInBackground({"-b"});
    EXPECT_EQ(0, oStarter.m_iStatus);
    EXPECT_EQ("", oStarter.m_sErrors);
    EXPECT_EQ(5, std::ranges::count(oStarter.m_sOutput, '\n')) << oStarter.m_sOutput;

    EXPECT_EQ("3\n", ledgerctl({"count", "Item"}).m_sOutput); // a script need not wait
    const std::string sProcess = "/proc/" + std::to_string(iDaemon);
    EXPECT_EQ("/", fs::read_symlink(sProcess + "/cwd"));
    for (const char* pStandard : {"/fd/0", "/fd/1", "/fd/2"}) {
        EXPECT_EQ("/dev/null", fs::read_symlink(sProcess + pStandard));
    }
    EXPECT_EQ(iDaemon, ::getsid(iDaemon));

    EXPECT_EQ(0, endInBackground(iDaemon));
    EXPECT_FALSE(exists(socket()));
    EXPECT_FALSE(exists(m_oSandbox.pidFile()));
}

TEST_F(Lifecycle, LinesToTheJournalCarryTheirPriorityAndNoTimeOfTheirOwn)
{
    start({}, [] {
        struct stat oStatus;
        ::fstat(STDERR_FILENO, &oStatus);
        const std::string sStream = std::to_string(oStatus.st_dev) + ":" + std::to_string(oStatus.st_ino);
        ::setenv("JOURNAL_STREAM", sStream.c_str(), 1);
    });
    EXPECT_TRUE(
        eventually([&] { return daemon().errors().find("started and running\n") != std::string::npos; }));
    std::istringstream oLog(daemon().errors());
    std::vector<std::string> lLines;
    for (std::string sLine; std::getline(oLog, sLine);) {
        lLines.push_back(sLine);
    }
    EXPECT_THAT(lLines, Each(testing::MatchesRegex("<[0-7]>[A-Za-z]+ [a-z.]+:[0-9]+: .*")));
    EXPECT_THAT(lLines, Contains("<6>ledgerd main:512: run: started and running"));
    EXPECT_THAT(lLines, Contains(StartsWith("<3>SystemBus ")));

    // Its service may have a file for standard error, and another output that is the journal's.
    auto lEnvironment = m_oSandbox.environment();
    lEnvironment.emplace_back("JOURNAL_STREAM", "1:1");
    EXPECT_THAT(run(LEDGERD_BINARY, {paths(), lEnvironment}).m_sErrors,
                testing::MatchesRegex("2[0-9-]+ [0-9:.]+ error   ledgerd main:361: .*\n"));
}

// The log daemon's queue takes some ten lines; the daemon writes more while it starts.
TEST_F(Lifecycle, ALogDaemonThatDoesNotReadNeitherStopsTheDaemonNorItsEnd)
{
    const LogDaemon oLog(m_oSandbox.path(""));
    const auto [iDaemon, oStarter] = startInBackground({"-b", "-v"});
    systema::client::Connection oProbe({socket(), "probe", c_oDeadline});
    EXPECT_TRUE(eventually([&] { return oProbe.connect().ok(); }));
    {
        Client oClient(socket());
        for (int i = 0; i < 200; ++i) {
            EXPECT_EQ(8U, oClient.code(request::InsertRow{"Item", row({{"Nope", 1}})}));
        }
    }
    // It is read again: what was kept comes, in order, and nothing is missing without a word.
    std::vector<std::string> lMessages;
    EXPECT_TRUE(eventually([&] {
        for (auto& sMessage : oLog.take()) {
            lMessages.push_back(std::move(sMessage));
        }
        return std::ranges::any_of(lMessages, [](const auto& a_sMessage) {
            return a_sMessage.ends_with("main:512: run: started and running");
        });
    }));
    EXPECT_THAT(lMessages.front(), HasSubstr(" ledgerd[" + std::to_string(iDaemon) + "]: [ledgerd] main:"));
    EXPECT_EQ(0, endInBackground(iDaemon));
}

TEST_F(Lifecycle, BadRequestsOfOneClientDoNotFloodTheLog)
{
    constexpr int c_iRequests = 3000;
    start();
    const auto oBegin = std::chrono::steady_clock::now();
    std::vector<std::string> lLines = logOf([&] {
        for (int i = 0; i < c_iRequests; ++i) {
            EXPECT_EQ(8U, client().code(request::InsertRow{"Item", row({{"Nope", i}})}));
            if (i % 10 == 0) { // who connects again is the same
                RawClient oOther(socket());
                oOther.send("these are no frames, and that is logged");
            }
        }
        // By itself, when the second is over.
        EXPECT_TRUE(
            eventually([this] { return daemon().errors().find(" more in a second") != std::string::npos; }));
    });
    const auto oSeconds = std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - oBegin);
    const auto count = [&](const std::string& a_sText) {
        return std::ranges::count_if(
            lLines, [&](const auto& a_sLine) { return a_sLine.find(a_sText) != a_sLine.npos; });
    };
    EXPECT_LE(count("error SQLiteWrap Error 1 (table Item has no column named Nope)"), oSeconds.count() + 1);
    EXPECT_GE(count(" more in a second: Error 1 (table Item has no column named Nope)"), 1);
    EXPECT_LE(count("a malformed frame"), 2 * (oSeconds.count() + 1));
    EXPECT_GE(count("a malformed frame"), 1);
}

} // namespace
} // namespace e2e
