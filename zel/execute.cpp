#include "zel/execute.h"

#include "zel/uniquefd.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <poll.h>
#include <span>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds c_oKillWait{50}; // for a command that was killed to be gone
constexpr int c_iReadsAfterEnd = 1024; // more than a pipe of 1 MiB, the system's greatest, has pieces

/// How a command starts: in a group of its own, reading nothing, writing into the pipe.
class SpawnPlan
{
public:
    explicit SpawnPlan(int a_iOutput)
    {
        // The output first: the pipe may have got one of the standard descriptors when they were closed.
        posix_spawn_file_actions_init(&m_oActions);
        posix_spawn_file_actions_adddup2(&m_oActions, a_iOutput, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&m_oActions, a_iOutput, STDERR_FILENO);
        posix_spawn_file_actions_addopen(&m_oActions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&m_oActions, STDERR_FILENO + 1);

        sigset_t oNone;
        sigset_t oAll;
        sigemptyset(&oNone);
        sigfillset(&oAll);
        posix_spawnattr_init(&m_oAttributes);
        posix_spawnattr_setsigmask(&m_oAttributes, &oNone);
        posix_spawnattr_setsigdefault(&m_oAttributes, &oAll);
        posix_spawnattr_setpgroup(&m_oAttributes, 0);
        posix_spawnattr_setflags(&m_oAttributes,
                                 POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnPlan()
    {
        posix_spawnattr_destroy(&m_oAttributes);
        posix_spawn_file_actions_destroy(&m_oActions);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    /// The process id of the shell that runs the command, 0 when it could not be started.
    pid_t start(const char* a_pCommand) const
    {
        std::array<const char*, 5> aArguments = {"sh", "-c", "--", a_pCommand, nullptr};
        pid_t iPid = 0;
        const int iError = posix_spawn(&iPid, "/bin/sh", &m_oActions, &m_oAttributes,
                                       const_cast<char* const*>(aArguments.data()), environ);
        return iError == 0 ? iPid : 0;
    }

private:
    posix_spawn_file_actions_t m_oActions;
    posix_spawnattr_t m_oAttributes;
};

using Receiver = std::function<void(std::string_view)>;

/// What a command writes.
class Output
{
public:
    Output(zel::UniqueFd a_oPipe, const Receiver& a_oReceiver)
        : m_oPipe(std::move(a_oPipe)),
          m_oReceiver(a_oReceiver)
    {
    }

    /// The pipe's end, -1 once everything has been read.
    int fd() const { return m_oPipe.get(); }

    /// Reads once. False when there is nothing to read now, or never again.
    bool read()
    {
        std::array<char, 2048> aPiece;
        const ssize_t iSize = ::read(fd(), aPiece.data(), aPiece.size());
        if (iSize < 0) {
            return errno == EINTR;
        }
        if (iSize == 0) {
            m_oPipe.reset();
            return false;
        }
        m_oReceiver({aPiece.data(), static_cast<std::size_t>(iSize)});
        return true;
    }

private:
    zel::UniqueFd m_oPipe;
    const Receiver& m_oReceiver;
};

int exitCode(int a_iStatus)
{
    return WIFSIGNALED(a_iStatus) ? 128 + WTERMSIG(a_iStatus) : WEXITSTATUS(a_iStatus);
}

/// Commands that were killed and did not end: one that waits in the kernel, for a dead flash or file server,
/// ends when that is over, if ever.
class Leftovers
{
public:
    static Leftovers& instance()
    {
        static Leftovers s_oLeftovers;
        return s_oLeftovers;
    }

    void add(pid_t a_iPid)
    {
        const std::lock_guard oGuard(m_oMutex);
        m_lPids.push_back(a_iPid);
    }
    /// Reaps those that have ended.
    void reap()
    {
        const std::lock_guard oGuard(m_oMutex);
        std::erase_if(m_lPids, [](pid_t a_iPid) { return ::waitpid(a_iPid, nullptr, WNOHANG) != 0; });
    }

private:
    std::mutex m_oMutex; // commands run in several threads
    std::vector<pid_t> m_lPids;
};

/// Ends the command, which is reaped later when it does not end soon.
void killGroup(pid_t a_iPid)
{
    ::kill(-a_iPid, SIGKILL);
    const auto oGiveUp = Clock::now() + c_oKillWait;
    while (::waitpid(a_iPid, nullptr, WNOHANG) == 0) {
        if (Clock::now() >= oGiveUp) {
            Leftovers::instance().add(a_iPid);
            return;
        }
        ::poll(nullptr, 0, 1);
    }
}

/// Milliseconds to wait for the next event, rounded up.
int pollTimeout(Clock::time_point a_oDeadline, bool a_bEndIsAnEvent)
{
    using std::chrono::milliseconds;
    const auto oLeft = std::chrono::ceil<milliseconds>(a_oDeadline - Clock::now());
    const milliseconds oMost = a_bEndIsAnEvent ? std::chrono::hours(1) : milliseconds(10);
    return static_cast<int>(std::clamp(oLeft, milliseconds(0), oMost).count());
}

/// Reads the output until the shell ends or the deadline passes; the result of the whole call.
int finish(pid_t a_iPid, Output& a_oOutput, Clock::time_point a_oDeadline)
{
    // The end of the output is not the end of the command, nor the other way round. Without a descriptor
    // for the shell's end (none left, or an old kernel) it is looked for every 10 ms.
    const zel::UniqueFd oEnd(static_cast<int>(::syscall(SYS_pidfd_open, a_iPid, 0)));
    for (;;) {
        int iStatus = 0;
        const pid_t iEnded = ::waitpid(a_iPid, &iStatus, WNOHANG);
        if (iEnded != 0) {
            // No more than a pipe holds: a background process may go on writing for ever.
            for (int iReads = 0; iReads < c_iReadsAfterEnd && a_oOutput.read(); ++iReads) {
            }
            return iEnded == a_iPid ? exitCode(iStatus) : c_iExecuteFailed;
        }
        if (Clock::now() >= a_oDeadline) {
            killGroup(a_iPid);
            return c_iExecuteTimedOut;
        }
        std::array<pollfd, 2> aEvents = {pollfd{a_oOutput.fd(), POLLIN, 0}, pollfd{oEnd.get(), POLLIN, 0}};
        const int iReady = ::poll(aEvents.data(), aEvents.size(), pollTimeout(a_oDeadline, bool(oEnd)));
        if (iReady > 0 && aEvents[0].revents != 0) {
            a_oOutput.read();
        }
    }
}

int run(const char* a_pCommand, Output& a_oOutput, zel::UniqueFd a_oInto,
        std::chrono::milliseconds a_oCeiling)
{
    Leftovers::instance().reap();
    const pid_t iPid = SpawnPlan(a_oInto.get()).start(a_pCommand);
    a_oInto.reset();
    const auto oDeadline = a_oCeiling.count() > 0 ? Clock::now() + a_oCeiling : Clock::time_point::max();
    if (iPid <= 0) {
        return c_iExecuteFailed;
    }
    try {
        return finish(iPid, a_oOutput, oDeadline);
    } catch (...) { // of the receiver
        killGroup(iPid);
        throw;
    }
}

} // namespace

int ZEL_Execute_Command(const char* a_pCommand, char* a_pOutput, std::size_t a_iSize,
                        std::chrono::milliseconds a_oCeiling)
try {
    const bool bBuffer = a_pOutput && a_iSize > 0;
    std::span<char> aRoom = bBuffer ? std::span(a_pOutput, a_iSize - 1) : std::span<char>();
    const int iResult = zel::executeCommand(
        a_pCommand,
        [&](std::string_view a_sText) {
            const auto sFits = a_sText.substr(0, aRoom.size());
            std::ranges::copy(sFits, aRoom.begin());
            aRoom = aRoom.subspan(sFits.size());
        },
        a_oCeiling);
    if (bBuffer) {
        *aRoom.data() = '\0';
    }
    return iResult;
} catch (const std::bad_alloc&) { // it may be called by a thread that no exception may leave
    if (a_pOutput && a_iSize > 0) {
        *a_pOutput = '\0';
    }
    return c_iExecuteFailed;
}

int zel::executeCommand(const std::string& a_sCommand, const std::function<void(std::string_view)>& a_oOutput,
                        std::chrono::milliseconds a_oCeiling)
{
    std::array<int, 2> aPipe;
    if (::pipe2(aPipe.data(), O_CLOEXEC) != 0) {
        return c_iExecuteFailed;
    }
    UniqueFd oFrom(aPipe[0]);
    UniqueFd oInto(aPipe[1]);
    // Only this end: the command's own end blocks as it is used to.
    ::fcntl(oFrom.get(), F_SETFL, O_NONBLOCK);
    Output oOutput(std::move(oFrom), a_oOutput);
    return run(a_sCommand.c_str(), oOutput, std::move(oInto), a_oCeiling);
}
