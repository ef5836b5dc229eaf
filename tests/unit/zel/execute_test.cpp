#include "zel/execute.h"

#include "tests/unit/zel/tempdir.h"
#include "zel/uniquefd.h"

#include <gmock/gmock.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <fstream>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Pair;

namespace {

std::pair<int, std::string> execute(const std::string& a_sCommand, int a_iCeilingSeconds = 20)
{
    std::array<char, 2048> aOutput;
    aOutput.fill('#');
    const int iResult = ZEL_Execute_Command(a_sCommand.c_str(), aOutput.data(), aOutput.size(),
                                            std::chrono::seconds(a_iCeilingSeconds));
    return {iResult, aOutput.data()};
}

/// Forks, for what changes the process: true when the function answered true there.
template<class Function>
bool holdsInChild(Function a_oFunction)
{
    const pid_t iChild = ::fork();
    if (iChild == 0) {
        ::_exit(a_oFunction() ? 0 : 1);
    }
    int iStatus = -1;
    ::waitpid(iChild, &iStatus, 0);
    return iStatus == 0;
}

/// Makes pidfd_open fail as on an old kernel, for the rest of the process.
bool forbidPidfd()
{
    sock_filter aFilter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog oProgram{std::size(aFilter), aFilter};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &oProgram) == 0;
}

} // namespace

TEST(Execute, givesOutputAndResult)
{
    EXPECT_THAT(execute("echo out; echo err >&2"), Pair(0, "out\nerr\n"));
    EXPECT_THAT(execute("printf x; exit 3"), Pair(3, "x"));
    EXPECT_THAT(execute("kill -TERM $$"), Pair(128 + SIGTERM, ""));
    EXPECT_THAT(execute("no-such-device-command"), Pair(127, HasSubstr("no-such-device-command")));
    EXPECT_THAT(execute(""), Pair(0, ""));
    EXPECT_THAT(execute("-x"), Pair(127, HasSubstr("-x")));
    EXPECT_THAT(execute("echo x; exec >&- 2>&-; exit 4"), Pair(4, "x\n"));
}

TEST(Execute, outputIsCutAtTheBuffersSize)
{
    std::string sBuffer = "########";
    EXPECT_EQ(ZEL_Execute_Command("printf 123456", sBuffer.data(), 4), 0);
    EXPECT_EQ(sBuffer, std::string("123\0####", 8));
    EXPECT_EQ(ZEL_Execute_Command("printf 123456", sBuffer.data(), 1), 0);
    EXPECT_EQ(sBuffer, std::string("\00023\0####", 8));
    EXPECT_EQ(ZEL_Execute_Command("printf 123", sBuffer.data(), 4), 0);
    EXPECT_EQ(sBuffer, std::string("123\0####", 8));

    // More than a pipe holds: a command that is not read from would never end.
    const char* pLong = "head -c 300000 /dev/zero && exit 5";
    EXPECT_EQ(ZEL_Execute_Command(pLong, sBuffer.data(), sBuffer.size(), std::chrono::seconds(20)), 5);
    EXPECT_EQ(ZEL_Execute_Command(pLong, sBuffer.data(), 0, std::chrono::seconds(20)), 5);
    EXPECT_EQ(ZEL_Execute_Command(pLong, nullptr, 0, std::chrono::seconds(20)), 5);
    EXPECT_EQ(ZEL_Execute_Command(pLong, nullptr, 100, std::chrono::seconds(20)), 5);
}

TEST(Execute, theCommandGetsACleanStart)
{
    const zel::UniqueFd oInherited(::fcntl(STDERR_FILENO, F_DUPFD, 77));
    sigset_t oTerm;
    sigset_t oBefore;
    sigemptyset(&oTerm);
    sigaddset(&oTerm, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &oTerm, &oBefore);
    const auto pBefore = std::signal(SIGPIPE, SIG_IGN);

    const auto oSignals = execute("exec grep -E 'SigBlk|SigIgn' /proc/self/status");
    const auto oDescriptors = execute("readlink /proc/$$/fd/0; test -e /proc/$$/fd/" +
                                      std::to_string(oInherited.get()) + " && echo inherited; exit 0");
    const auto oGroup = execute("test \"$(cut -d' ' -f5 /proc/$$/stat)\" = $$");

    std::signal(SIGPIPE, pBefore);
    ::pthread_sigmask(SIG_SETMASK, &oBefore, nullptr);
    // The C library's own signals, 32 and 33, keep what the test was started with.
    EXPECT_THAT(oSignals, Pair(0, MatchesRegex("SigBlk:\t0{16}\nSigIgn:\t.*0{7}\n")));
    EXPECT_THAT(oDescriptors, Pair(0, "/dev/null\n"));
    EXPECT_EQ(oGroup.first, 0);
}

TEST(Execute, worksWithClosedStandardDescriptors)
{
    for (unsigned iClosed = 1; iClosed < 8; ++iClosed) {
        EXPECT_TRUE(holdsInChild([iClosed] {
            for (int iFd = 0; iFd < 3; ++iFd) {
                if (iClosed >> iFd & 1) {
                    ::close(iFd);
                }
            }
            return execute("cat; echo out; echo err >&2") == std::pair<int, std::string>(0, "out\nerr\n");
        })) << iClosed;
    }
}

TEST(Execute, theCeilingEndsTheWholeGroup)
{
    const TempDir oDir;
    const std::string sFifo = oDir.file("alive");
    ASSERT_EQ(::mkfifo(sFifo.c_str(), 0600), 0);
    const zel::UniqueFd oAlive(::open(sFifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));

    // Every process of the group keeps the FIFO open for writing; the output ends long before.
    EXPECT_THAT(
        execute("trap '' TERM; exec 3>" + sFifo + "; echo before; exec >&- 2>&-; sleep 30 & sleep 30", 1),
        Pair(c_iExecuteTimedOut, "before\n"));
    pollfd oEvent{oAlive.get(), POLLIN, 0};
    EXPECT_EQ(::poll(&oEvent, 1, 10000), 1);
    EXPECT_EQ(oEvent.revents, POLLHUP);
}

TEST(Execute, aCommandThatCannotBeKilledIsLeftBehindAndReapedLater)
{
    const TempDir oDir;
    const std::string sPid = oDir.file("pid");
    const std::string sGo = oDir.file("go");
    ASSERT_EQ(::mkfifo(sPid.c_str(), 0600) + ::mkfifo(sGo.c_str(), 0600), 0);
    // Until its tracer has gone, a process that was killed cannot be waited for.
    const pid_t iTracer = ::fork();
    if (iTracer == 0) {
        ::alarm(20);
        pid_t iTraced = 0;
        std::ifstream(sPid) >> iTraced;
        std::ofstream(sGo) << (::ptrace(PTRACE_SEIZE, iTraced, nullptr, nullptr) == 0 ? "go\n" : "no\n");
        ::pause();
    }
    const auto oStart = std::chrono::steady_clock::now();
    const auto oResult =
        execute("echo $$; echo $$ > " + sPid + "; read x < " + sGo + "; echo $x; sleep 30", 2);
    const auto oTime = std::chrono::steady_clock::now() - oStart;
    EXPECT_EQ(oResult.first, c_iExecuteTimedOut);
    const pid_t iCommand = std::stoi(oResult.second);
    ASSERT_THAT(oResult.second, testing::EndsWith("\ngo\n"));
    EXPECT_LT(oTime, std::chrono::seconds(10));
    EXPECT_EQ(::kill(iCommand, 0), 0) << "it is still there";

    ::kill(iTracer, SIGKILL);
    ::waitpid(iTracer, nullptr, 0);
    EXPECT_THAT(execute("exit 3"), Pair(3, ""));
    EXPECT_EQ(::kill(iCommand, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST(Execute, returnsSoonAfterTheShellEnds)
{
    const TempDir oDir;
    const std::string sFifo = oDir.file("hold");
    ASSERT_EQ(::mkfifo(sFifo.c_str(), 0600), 0);
    const auto endsSoon = [&] {
        const auto oStart = std::chrono::steady_clock::now();
        // The first leaves a process that holds the output open, the second closes its output and goes on.
        const bool bRight =
            execute("cat " + sFifo + " & echo done") == std::pair<int, std::string>(0, "done\n") &&
            execute("exec >&- 2>&-; sleep 0.1; exit 6").first == 6;
        // That process is still there: the FIFO opens for writing only once it reads.
        const zel::UniqueFd oEnd(::open(sFifo.c_str(), O_WRONLY | O_CLOEXEC));
        return bRight && std::chrono::steady_clock::now() - oStart < std::chrono::seconds(10);
    };
    EXPECT_TRUE(endsSoon());
    EXPECT_TRUE(holdsInChild([&] { return forbidPidfd() && endsSoon(); }));

    // A process that writes without end fills the buffer at most, and ends with the pipe.
    EXPECT_EQ(execute("yes & exit 6").first, 6);
}

TEST(Execute, failsCleanlyWithoutDescriptorsOrChildStatus)
{
    EXPECT_TRUE(holdsInChild([] {
        const rlimit oFew{3, 3};
        return ::setrlimit(RLIMIT_NOFILE, &oFew) == 0 &&
               execute("echo x") == std::pair<int, std::string>(127, "");
    }));
    EXPECT_TRUE(holdsInChild([] {
        std::signal(SIGCHLD, SIG_IGN);
        return execute("echo x") == std::pair<int, std::string>(127, "x\n");
    }));
}

TEST(Execute, allOutputIsHandedOver)
{
    std::string sOutput;
    const auto add = [&](std::string_view a_sText) { sOutput += a_sText; };
    EXPECT_EQ(
        zel::executeCommand("head -c 300000 /dev/zero; printf end; exit 3", add, std::chrono::seconds(20)),
        3);
    EXPECT_EQ(sOutput, std::string(300000, '\0') + "end");
}
