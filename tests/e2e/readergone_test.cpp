// Readers of the output of ledgerctl that go before it ends, and standard files that were closed at its
// start.
#include "tests/e2e/daemontest.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>

namespace e2e {
namespace {

/// The two ends of what a program may write to: a pipe, a socket or a terminal.
struct Channel
{
    std::string m_sName;
    zel::UniqueFd m_oReader;
    zel::UniqueFd m_oWriter;
};

Channel makePipe()
{
    int aEnds[2] = {-1, -1};
    EXPECT_EQ(0, ::pipe2(aEnds, O_CLOEXEC));
    return {"pipe", zel::UniqueFd(aEnds[0]), zel::UniqueFd(aEnds[1])};
}

Channel makeSocket()
{
    int aEnds[2] = {-1, -1};
    EXPECT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, aEnds));
    return {"socket", zel::UniqueFd(aEnds[0]), zel::UniqueFd(aEnds[1])};
}

Channel makeTerminal()
{
    zel::UniqueFd oMaster(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_EQ(0, ::unlockpt(oMaster.get()));
    zel::UniqueFd oSlave(::open(::ptsname(oMaster.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    return {"terminal", std::move(oMaster), std::move(oSlave)};
}

class ReaderGone : public RunningDaemonTest
{
protected:
    /// Starts ledgerctl with its output to the channel, whose writing end is then its own.
    std::unique_ptr<Process> start(const std::vector<std::string>& a_lArguments, Channel& a_oChannel)
    {
        const int iOutput = a_oChannel.m_oWriter.get();
        auto pProcess = std::make_unique<Process>(
            LEDGERCTL_BINARY, Process::Start{a_lArguments, m_oSandbox.environment(), {}, [=] {
                                                 ::dup2(iOutput, STDOUT_FILENO);
                                             }});
        a_oChannel.m_oWriter.reset();
        return pProcess;
    }
    static bool endsByPipe(Process& a_oProcess)
    {
        const auto oStatus = a_oProcess.wait();
        return oStatus && WIFSIGNALED(*oStatus) && WTERMSIG(*oStatus) == SIGPIPE;
    }
};

TEST_F(ReaderGone, AWatchEndsWithItsReaderAndNotWithTheNextChange)
{
    for (auto makeChannel : {makePipe, makeSocket, makeTerminal}) {
        for (const std::vector<std::string>& lArguments :
             {std::vector<std::string>{"watch", "Item"}, {"--json", "watch", "Item", "--rows"}}) {
            Channel oChannel = makeChannel();
            SCOPED_TRACE(oChannel.m_sName + " " + testing::PrintToString(lArguments));
            const auto pWatch = start(lArguments, oChannel);
            ASSERT_TRUE(eventually([&] { return client().info("Clients") == 2; }));
            EXPECT_FALSE(pWatch->hasEnded()) << pWatch->errors();
            oChannel.m_oReader.reset();
            EXPECT_TRUE(endsByPipe(*pWatch));
            EXPECT_TRUE(eventually([&] { return client().info("Clients") == 1; }));
        }
    }
}

TEST_F(ReaderGone, AnImportThatWaitsIsGivenUpAndAWriteThatNeedNotWaitIsMade)
{
    const std::string sFile = m_oSandbox.path("export.json");
    writeFile(sFile, R"({"Twins":{"rows":[]}})");
    EXPECT_EQ(0U, client().code(request::Begin{}));
    Channel oChannel = makePipe();
    const auto pImport = start({"import", "--wait", "3600000", sFile}, oChannel);
    ASSERT_TRUE(eventually([&] { return client().info("TransactionsWaiting") == 1; }));
    oChannel.m_oReader.reset();
    EXPECT_TRUE(endsByPipe(*pImport));
    EXPECT_EQ(0U, client().code(request::Commit{}));
    EXPECT_EQ(3U, client().count("Twins"));

    Channel oClosed = makePipe();
    oClosed.m_oReader.reset();
    EXPECT_EQ(0, start({"import", "--wait", "3600000", sFile}, oClosed)->wait());
    EXPECT_EQ(0U, client().count("Twins"));
}

TEST_F(ReaderGone, AClosedStandardFileIsNotTheSocketOfTheDaemon)
{
    const auto runWithout = [this](int iFile, const std::vector<std::string>& a_lArguments) {
        return run(LEDGERCTL_BINARY, {a_lArguments, m_oSandbox.environment(), {}, [=] { ::close(iFile); }});
    };
    for (const char* const pCommand : {"get", "export", "watch"}) {
        const auto oPrint = runWithout(STDOUT_FILENO, {pCommand, "Item"});
        EXPECT_EQ("ledgerctl: cannot write the output [1]\n", oPrint.m_sErrors);
        EXPECT_EQ(1, oPrint.m_iStatus);
    }
    // Who repeats it adds another one.
    EXPECT_EQ("ledgerctl: the rows are written, but the output cannot be [1]\n",
              runWithout(STDOUT_FILENO, {"add", "Scratch", "Text=x"}).m_sErrors);
    const auto oFull = run(LEDGERCTL_BINARY, {{"get", "Item"}, m_oSandbox.environment(), {}, [] {
                                                  ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO);
                                              }});
    EXPECT_EQ("ledgerctl: cannot write the output: No space left on device [1]\n", oFull.m_sErrors);
    for (const char* const pCommand : {"batch", "import"}) { // they waited for the daemon to say something
        const auto oRead = runWithout(STDIN_FILENO, {pCommand});
        EXPECT_EQ("ledgerctl: cannot read the input [64]\n", oRead.m_sErrors);
        EXPECT_EQ(64, oRead.m_iStatus);
    }
    EXPECT_EQ(0, runWithout(STDOUT_FILENO, {"set", "Item", "--key", "Id=2", "Note=x"}).m_iStatus);
    EXPECT_EQ(8, runWithout(STDERR_FILENO, {"get", "Item", "Nonsense"}).m_iStatus);
}

} // namespace
} // namespace e2e
