#include "zel/runningcommand.h"

#include "zel/execute.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace zel {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds c_oKillWait{50}; // for a command that was killed to be gone
constexpr int c_iMostReads = 1024; // more than a pipe of 1 MiB, the system's greatest, has pieces

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
int pollTimeout(Clock::duration a_oLeft, bool a_bEndIsAnEvent)
{
    using std::chrono::milliseconds;
    const milliseconds oMost = a_bEndIsAnEvent ? std::chrono::hours(1) : milliseconds(10);
    return static_cast<int>(
        std::clamp(std::chrono::ceil<milliseconds>(a_oLeft), milliseconds(0), oMost).count());
}

} // namespace

RunningCommand::RunningCommand(const std::string& a_sCommand, Receiver a_oOutput,
                               std::chrono::milliseconds a_oCeiling)
    : m_oOutput(std::move(a_oOutput))
{
    std::array<int, 2> aPipe;
    if (::pipe2(aPipe.data(), O_CLOEXEC) != 0) {
        return;
    }
    m_oPipe.reset(aPipe[0]);
    const UniqueFd oInto(aPipe[1]);
    // Only this end: the command's own end blocks as it is used to.
    ::fcntl(m_oPipe.get(), F_SETFL, O_NONBLOCK);
    Leftovers::instance().reap();
    m_iPid = SpawnPlan(oInto.get()).start(a_sCommand.c_str());
    if (m_iPid > 0) {
        // Without a descriptor for the shell's end (none left, or an old kernel) it is looked for every 10
        // ms.
        m_oEnd.reset(static_cast<int>(::syscall(SYS_pidfd_open, m_iPid, 0)));
        m_oDeadline = a_oCeiling.count() > 0 ? Clock::now() + a_oCeiling : Clock::time_point::max();
    }
}

RunningCommand::~RunningCommand()
{
    if (m_iPid > 0) {
        try {
            killGroup(m_iPid);
        } catch (const std::bad_alloc&) { // it is killed, but never reaped
        }
    }
}

std::optional<int> RunningCommand::wait(std::chrono::milliseconds a_oTime)
{
    const auto oReturn = Clock::now() + a_oTime;
    while (m_iPid > 0) {
        // The end of the output is not the end of the command, nor the other way round.
        int iStatus = 0;
        const pid_t iEnded = ::waitpid(m_iPid, &iStatus, WNOHANG);
        if (iEnded != 0) {
            const pid_t iPid = std::exchange(m_iPid, 0);
            readWhatIsThere();
            return iEnded == iPid ? exitCode(iStatus) : c_iExecuteFailed;
        }
        const auto oNow = Clock::now();
        if (oNow >= m_oDeadline) {
            killGroup(std::exchange(m_iPid, 0));
            return c_iExecuteTimedOut;
        }
        if (oNow >= oReturn) {
            readWhatIsThere();
            return std::nullopt;
        }
        std::array<pollfd, 2> aEvents = {pollfd{m_oPipe.get(), POLLIN, 0}, pollfd{m_oEnd.get(), POLLIN, 0}};
        const int iReady = ::poll(aEvents.data(), aEvents.size(),
                                  pollTimeout(std::min(m_oDeadline, oReturn) - oNow, bool(m_oEnd)));
        if (iReady > 0 && aEvents[0].revents != 0) {
            read();
        }
    }
    return c_iExecuteFailed;
}

/// Reads once. False when there is nothing to read now, or never again.
bool RunningCommand::read()
{
    std::array<char, 2048> aPiece;
    const ssize_t iSize = ::read(m_oPipe.get(), aPiece.data(), aPiece.size());
    if (iSize < 0) {
        return errno == EINTR;
    }
    if (iSize == 0) {
        m_oPipe.reset();
        return false;
    }
    m_oOutput({aPiece.data(), static_cast<std::size_t>(iSize)});
    return true;
}

/// Reads no more than a pipe holds: a background process may go on writing for ever.
void RunningCommand::readWhatIsThere()
{
    for (int iReads = 0; iReads < c_iMostReads && read(); ++iReads) {
    }
}

} // namespace zel
