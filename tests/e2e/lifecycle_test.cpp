// How ledgerd starts, refuses to start, and ends.
#include "tests/e2e/daemontest.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace e2e {
namespace {

using std::filesystem::exists;
using testing::EndsWith;
using testing::HasSubstr;

class Lifecycle : public DaemonTest
{
protected:
    std::string pidText() { return std::to_string(daemon().pid()) + "\n"; }
};

class LifecycleSignal : public Lifecycle, public testing::WithParamInterface<int>
{
};

TEST_P(LifecycleSignal, EndsTheDaemonWithStatus0AndTidiesUp)
{
    start();
    EXPECT_EQ(pidText(), readFile(m_oSandbox.pidFile()));
    EXPECT_EQ(std::filesystem::perms(0644), std::filesystem::status(m_oSandbox.pidFile()).permissions());
    EXPECT_EQ(std::filesystem::perms(0666), std::filesystem::status(socket()).permissions());
    EXPECT_EQ(0U, client().code(request::Begin{}));
    EXPECT_EQ(0U, client().code(request::UpdateKey{"Item", "Id", "1", row({{"Note", "not committed"}})}));
    ASSERT_TRUE(eventually([this] { return isWaiting(); }));

    daemon().signal(GetParam());
    EXPECT_EQ(0, daemon().wait());
    EXPECT_TRUE(client().call(request::Ping{}).isConnectionError());
    EXPECT_FALSE(exists(socket()));
    EXPECT_FALSE(exists(m_oSandbox.pidFile()));
    EXPECT_THAT(daemon().errors(), HasSubstr("ledgerd main:512: run: started and running\n"));
    EXPECT_THAT(daemon().errors(), EndsWith("ledgerd main:573: main: exiting\n"));
    EXPECT_EQ(std::vector<std::string>{"red"},
              m_oSandbox.sql("persistent-common.db", "SELECT Note FROM Item WHERE Id = 1"));
}

INSTANTIATE_TEST_SUITE_P(, LifecycleSignal, testing::Values(SIGINT, SIGTERM, SIGQUIT));

TEST_F(Lifecycle, AKilledDaemonLosesItsOpenTransactionOnlyAndTheNextFindsItsWay)
{
    for (const int iSignal : {SIGHUP, SIGKILL}) {
        const std::string sKept = std::to_string(iSignal);
        start();
        EXPECT_EQ(0U, client().code(request::UpdateKey{"Item", "Id", "1", row({{"Note", sKept.c_str()}})}));
        EXPECT_EQ(0U, client().code(request::Begin{}));
        EXPECT_EQ(0U, client().code(request::UpdateKey{"Item", "Id", "1", row({{"Note", "lost"}})}));
        daemon().signal(iSignal);
        const auto oStatus = daemon().wait();
        EXPECT_TRUE(oStatus && WIFSIGNALED(*oStatus) && WTERMSIG(*oStatus) == iSignal);
        EXPECT_TRUE(exists(socket()) && exists(m_oSandbox.pidFile()));

        start();
        EXPECT_EQ(pidText(), readFile(m_oSandbox.pidFile()));
        EXPECT_EQ(sKept, client().cell("Item", 1, "Note"));
        stop();
    }
}

TEST_F(Lifecycle, PipeSignalIsOnlyLogged)
{
    start();
    EXPECT_THAT(logOf([this] {
                    daemon().signal(SIGPIPE);
                    EXPECT_EQ(0U, client().code(request::Ping{}));
                }),
                testing::ElementsAre("error ledgerd Unexpected signal caught"));
}

TEST_F(Lifecycle, SecondInstanceIsRefusedBeforeItTouchesAnything)
{
    start();
    auto lOptions = paths();
    lOptions.insert(lOptions.end(), {"-d", m_oSandbox.path("no/such/directory")});
    const auto oSecond = runDaemon(lOptions);
    EXPECT_EQ(1, oSecond.m_iStatus);
    EXPECT_THAT(oSecond.m_sErrors,
                EndsWith("ledgerd main:361: Another process is already running. Exiting...\n"));
    EXPECT_EQ(1, std::ranges::count(oSecond.m_sErrors, '\n')) << oSecond.m_sErrors;
    EXPECT_EQ(1, runDaemon({"-b", "-p", m_oSandbox.path("var/run")}).m_iStatus);

    EXPECT_EQ(pidText(), readFile(m_oSandbox.pidFile()));
    EXPECT_EQ(3U, *client().call(request::GetSize{"Item"}));
    EXPECT_EQ(3U, *Client(socket()).call(request::GetSize{"Item"}));
}

TEST_F(Lifecycle, SocketThatAnswersIsLeftToItsOwner)
{
    start();
    std::filesystem::create_directory(m_oSandbox.path("second"));
    auto lOptions = paths();
    lOptions.insert(lOptions.end(), {"-p", m_oSandbox.path("second")});
    const auto oSecond = runDaemon(lOptions);
    EXPECT_EQ(0, oSecond.m_iStatus);
    EXPECT_THAT(oSecond.m_sErrors, HasSubstr("main:577: " + socket() + ": Address already in use\n"));
    EXPECT_FALSE(exists(m_oSandbox.path("second/ledgerd.pid")));

    EXPECT_EQ(0U, Client(socket()).code(request::UpdateKey{"Item", "Id", "1", row({{"Note", "new"}})}));
    EXPECT_EQ("new", client().cell("Item", 1, "Note"));
}

TEST_F(Lifecycle, WhatKeepsTheDaemonFromStartingIsLoggedAndLeavesNothing)
{
    writeFile(m_oSandbox.path("file"), "mine");
    const std::string sLink = m_oSandbox.path("link");
    std::filesystem::create_symlink(m_oSandbox.path("nowhere"), sLink);
    const std::string sLongPath = m_oSandbox.path(std::string(120, 'x'));
    struct
    {
        std::vector<std::string> m_lOptions;
        std::string m_sLog;
    } const aCases[] = {
        {{"-s", m_oSandbox.path("file")},
         "main:577: " + m_oSandbox.path("file") + " is no socket: File exists"},
        {{"-s", sLink}, "main:577: " + sLink + " is no socket: File exists"},
        {{"-s", sLongPath}, "main:577: " + sLongPath + ": File name too long"},
        {{"-s", m_oSandbox.path("no/socket")},
         "main:577: " + m_oSandbox.path("no/socket") + ": No such file"},
        {{"-d", m_oSandbox.path("no")}, "main:577: " + m_oSandbox.path("no") + ": No such file"},
        {{"-d", m_oSandbox.path("file")}, "main:577: " + m_oSandbox.path("file") + ": Not a directory"},
        {{"-f", m_oSandbox.path("file")},
         "main:577: " + m_oSandbox.path("file") + " is no FIFO: File exists"},
    };
    for (const auto& oCase : aCases) {
        auto lOptions = paths();
        lOptions.insert(lOptions.end(), oCase.m_lOptions.begin(), oCase.m_lOptions.end());
        const auto oRun = runDaemon(lOptions);
        EXPECT_EQ(0, oRun.m_iStatus);
        EXPECT_THAT(oRun.m_sErrors, HasSubstr(oCase.m_sLog));
        EXPECT_FALSE(exists(m_oSandbox.pidFile()));
        EXPECT_FALSE(exists(socket()));
    }
    EXPECT_EQ("mine", readFile(m_oSandbox.path("file")));
    EXPECT_TRUE(std::filesystem::is_symlink(sLink));
}

TEST_F(Lifecycle, RunsOnWithoutAPidFileWhenThereIsNoPlaceForIt)
{
    start({"-p", m_oSandbox.path("nowhere")});
    EXPECT_THAT(daemon().errors(), HasSubstr("Could not create PID file " +
                                             m_oSandbox.path("nowhere/ledgerd.pid") + ": No such file"));
}

TEST_F(Lifecycle, BackgroundDaemonGoesOnWhenItsStarterHasEnded)
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1); // it becomes our child, so that we can end it and see how it ends
    auto lOptions = paths();
    lOptions.emplace_back("-b");
    const auto oStarter = runDaemon(lOptions);
    EXPECT_EQ(0, oStarter.m_iStatus);
    EXPECT_EQ("", oStarter.m_sErrors);
    EXPECT_EQ(5, std::ranges::count(oStarter.m_sOutput, '\n')) << oStarter.m_sOutput;
    ASSERT_TRUE(eventually([this] { return exists(m_oSandbox.pidFile()); }));
    const pid_t iDaemon = std::stoi(readFile(m_oSandbox.pidFile()));

    EXPECT_TRUE(eventually([this] { return exists(socket()); }));
    EXPECT_TRUE(eventually([this] { return ledgerctl({"count", "Item"}).m_sOutput == "3\n"; }));
    const std::string sProcess = "/proc/" + std::to_string(iDaemon);
    EXPECT_EQ("/", std::filesystem::read_symlink(sProcess + "/cwd"));
    for (const char* pStandard : {"/fd/0", "/fd/1", "/fd/2"}) {
        EXPECT_EQ("/dev/null", std::filesystem::read_symlink(sProcess + pStandard));
    }
    EXPECT_EQ(iDaemon, ::getsid(iDaemon));

    ::kill(iDaemon, SIGTERM);
    int iStatus = -1;
    if (!eventually([&] { return ::waitpid(iDaemon, &iStatus, WNOHANG) == iDaemon; })) {
        ::kill(iDaemon, SIGKILL);
        ::waitpid(iDaemon, nullptr, 0);
    }
    EXPECT_EQ(0, iStatus);
    EXPECT_FALSE(exists(socket()));
    EXPECT_FALSE(exists(m_oSandbox.pidFile()));
}

} // namespace
} // namespace e2e
