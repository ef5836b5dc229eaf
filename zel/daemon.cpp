#include "zel/daemon.h"

#include "zel/uniquefd.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// The process id in a PID file, 0 when it holds anything but a positive number and a newline.
pid_t readPid(const std::string& a_sPath)
{
    // Not blocking, for a FIFO under this name must not stop the daemon.
    const zel::UniqueFd oFd(::open(a_sPath.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
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

} // namespace

ZEL_Daemon ZEL_Daemon_construct(const char* a_pName, const std::string& a_sPidPath)
{
    return {a_pName, a_sPidPath + "/" + a_pName + ".pid"};
}

bool ZEL_Daemon_occupiedPidFile(const ZEL_Daemon& a_oDaemon)
{
    const pid_t iPid = readPid(a_oDaemon.m_sPidFile);
    return iPid > 0 && iPid != ::getpid() && (::kill(iPid, 0) == 0 || errno == EPERM);
}

bool ZEL_Daemon_daemonize(ZEL_Daemon&)
{
    // The caller ends without flushing, and what its child flushes goes to /dev/null.
    std::fflush(nullptr);
    return ::daemon(0, 0) == 0;
}

bool ZEL_Daemon_deletePidFile(const ZEL_Daemon& a_oDaemon)
{
    return ::unlink(a_oDaemon.m_sPidFile.c_str()) == 0 || errno == ENOENT;
}

bool ZEL_Daemon_createPidFile(const ZEL_Daemon& a_oDaemon)
{
    std::string sTemporary = a_oDaemon.m_sPidFile + ".XXXXXX";
    const zel::UniqueFd oFd(::mkostemp(sTemporary.data(), O_CLOEXEC));
    if (!oFd) {
        return false;
    }
    const bool bCreated =
        writePid(oFd.get()) && ::link(sTemporary.c_str(), a_oDaemon.m_sPidFile.c_str()) == 0;
    const int iErrno = errno;
    ::unlink(sTemporary.c_str());
    errno = iErrno;
    return bCreated;
}
