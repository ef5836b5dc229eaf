#include "zel/daemon.h"

#include "zel/uniquefd.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

// Not blocking, for a FIFO under this name must not stop the daemon.
int openPidFile(const std::string& a_sPath)
{
    return ::open(a_sPath.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
}

bool writePid(int a_iFd)
{
    const std::string sText = std::to_string(::getpid()) + "\n";
    const ssize_t iWritten = ::write(a_iFd, sText.data(), sText.size());
    if (iWritten >= 0 && static_cast<std::size_t>(iWritten) < sText.size()) {
        errno = ENOSPC;
        return false;
    }
    return iWritten >= 0 && ::fchmod(a_iFd, 0644) == 0;
}

bool isSameFile(int a_iFd, const std::string& a_sPath)
{
    struct stat oOpen
    {
    };
    struct stat oNamed
    {
    };
    return ::fstat(a_iFd, &oOpen) == 0 && ::lstat(a_sPath.c_str(), &oNamed) == 0 &&
           oOpen.st_dev == oNamed.st_dev && oOpen.st_ino == oNamed.st_ino;
}

/// A process that may not write the file can only hold a lock for reading, which does not count.
bool isHeld(int a_iFd)
{
    struct flock oLock
    {
    };
    oLock.l_type = F_RDLCK;
    return ::fcntl(a_iFd, F_OFD_GETLK, &oLock) == 0 && oLock.l_type == F_WRLCK;
}

/// Locks for writing. False when another process does. A lock for reading keeps ours off, but nobody from
/// replacing the file.
bool hold(int a_iFd)
{
    struct flock oLock
    {
    };
    oLock.l_type = F_WRLCK;
    return ::fcntl(a_iFd, F_OFD_SETLK, &oLock) == 0 || !isHeld(a_iFd);
}

bool discard(int a_iFile)
{
    const zel::UniqueFd oNull(::open("/dev/null", O_RDWR | O_CLOEXEC));
    return oNull && ::dup2(oNull.get(), a_iFile) == a_iFile;
}

/// Waits until the child is gone, with its locks, so that another start finds none of it. A child that a
/// signal ended has not reported the reason, so this does.
void awaitEnd(const ZEL_Daemon& a_oDaemon, pid_t a_iChild)
{
    int iStatus = 0;
    while (::waitpid(a_iChild, &iStatus, 0) < 0) {
        if (errno != EINTR) {
            return;
        }
    }
    if (WIFSIGNALED(iStatus)) {
        ::dprintf(STDERR_FILENO, "%s: signal %d (%s) ended it before it was ready\n",
                  a_oDaemon.m_sName.c_str(), WTERMSIG(iStatus), ::strsignal(WTERMSIG(iStatus)));
    }
}

/// Gives a complete and locked file the PID file's name, when nobody holds the one that has it.
bool publish(const std::string& a_sTemporary, const std::string& a_sPidFile)
{
    while (::link(a_sTemporary.c_str(), a_sPidFile.c_str()) != 0) {
        if (errno != EEXIST) {
            return false;
        }
        // Only the process that holds the lock on the file of that name may replace it. Not blocking, for it
        // may be a FIFO.
        const zel::UniqueFd oOld(::open(a_sPidFile.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
        if (oOld && !hold(oOld.get())) {
            errno = EEXIST;
            return false;
        }
        if (!oOld ? errno != ENOENT : isSameFile(oOld.get(), a_sPidFile)) {
            return ::rename(a_sTemporary.c_str(), a_sPidFile.c_str()) == 0;
        }
    }
    ::unlink(a_sTemporary.c_str());
    return true;
}

} // namespace

ZEL_Daemon ZEL_Daemon_construct(const char* a_pName, const std::string& a_sPidPath)
{
    return {a_pName, a_sPidPath + "/" + a_pName + ".pid"};
}

bool ZEL_Daemon_occupiedPidFile(const ZEL_Daemon& a_oDaemon)
{
    const zel::UniqueFd oFd(openPidFile(a_oDaemon.m_sPidFile));
    return oFd && isHeld(oFd.get());
}

bool ZEL_Daemon_daemonize(ZEL_Daemon& a_oDaemon)
{
    std::fflush(nullptr); // the caller ends without flushing, and what its child flushes goes to /dev/null
    int aEnds[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, aEnds) != 0) {
        return false;
    }
    const zel::UniqueFd oStarter(aEnds[0]);
    zel::UniqueFd oDaemon(aEnds[1]);
    std::signal(SIGCHLD, SIG_DFL); // when ignored by our parent, the child's end would be lost
    const pid_t iChild = ::fork();
    if (iChild > 0) {
        oDaemon.reset();
        char cStarted = 0;
        if (TEMP_FAILURE_RETRY(::read(oStarter.get(), &cStarted, 1)) == 1) {
            ::_exit(EXIT_SUCCESS);
        }
        awaitEnd(a_oDaemon, iChild);
        ::_exit(EXIT_FAILURE);
    }
    a_oDaemon.m_oStarter = std::move(oDaemon);
    return iChild == 0 && ::setsid() >= 0 && ::chdir("/") == 0 && discard(STDIN_FILENO) &&
           discard(STDOUT_FILENO);
}

void ZEL_Daemon_reportStart(ZEL_Daemon& a_oDaemon)
{
    if (const zel::UniqueFd oStarter = std::move(a_oDaemon.m_oStarter)) {
        discard(STDERR_FILENO);
        static_cast<void>(::send(oStarter.get(), "", 1, MSG_NOSIGNAL)); // it may have been interrupted
    }
}

bool ZEL_Daemon_createPidFile(ZEL_Daemon& a_oDaemon)
{
    std::string sTemporary = a_oDaemon.m_sPidFile + ".XXXXXX";
    zel::UniqueFd oFd(::mkostemp(sTemporary.data(), O_CLOEXEC));
    if (!oFd) {
        return false;
    }
    if (!hold(oFd.get()) || !writePid(oFd.get()) || !publish(sTemporary, a_oDaemon.m_sPidFile)) {
        const int iErrno = errno;
        ::unlink(sTemporary.c_str());
        errno = iErrno;
        return false;
    }
    a_oDaemon.m_oPidFile = std::move(oFd);
    return true;
}

bool ZEL_Daemon_deletePidFile(ZEL_Daemon& a_oDaemon)
{
    // Nobody replaces it between the two, for we hold it.
    const zel::UniqueFd oFd = std::move(a_oDaemon.m_oPidFile);
    return !oFd || !isSameFile(oFd.get(), a_oDaemon.m_sPidFile) ||
           ::unlink(a_oDaemon.m_sPidFile.c_str()) == 0;
}

pid_t ZEL_Daemon_readPid(const ZEL_Daemon& a_oDaemon)
{
    const zel::UniqueFd oFd(openPidFile(a_oDaemon.m_sPidFile));
    std::array<char, 16> aText;
    const ssize_t iSize = ::read(oFd.get(), aText.data(), aText.size());
    if (iSize <= 0) {
        return 0;
    }
    const char* pEnd = aText.data() + iSize;
    pid_t iPid = 0;
    const auto oResult = std::from_chars(aText.data(), pEnd, iPid);
    const std::string_view sRest(oResult.ptr, pEnd);
    const bool bNumber = oResult.ec == std::errc() && (sRest.empty() || sRest == "\n");
    return bNumber && iPid > 0 ? iPid : 0;
}

bool ZEL_Daemon_namesProcess(const ZEL_Daemon& a_oDaemon)
{
    const pid_t iPid = ZEL_Daemon_readPid(a_oDaemon);
    return iPid > 0 && (::kill(iPid, 0) == 0 || errno == EPERM);
}
