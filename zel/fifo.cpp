#include "zel/fifo.h"

#include "zel/foreignname.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace zel::sys {

namespace {

constexpr mode_t c_iMode = 0666;

} // namespace

UniqueFd openFifo(const std::string& a_sName, int a_iOpenFlags)
{
    // Looked at first, since opening a device may set it off, and again, since it may be another by then.
    struct stat oStatus
    {
    };
    if (::lstat(a_sName.c_str(), &oStatus) != 0) {
        return {};
    }
    if (S_ISFIFO(oStatus.st_mode)) {
        UniqueFd oFd(::open(a_sName.c_str(), O_NOFOLLOW | O_CLOEXEC | a_iOpenFlags));
        if (!oFd || (::fstat(oFd.get(), &oStatus) == 0 && S_ISFIFO(oStatus.st_mode))) {
            return oFd;
        }
    }
    errno = EEXIST;
    return {};
}

Fifo::Fifo(const std::string& a_sName, int a_iOpenFlags)
    : m_sName(a_sName),
      m_iOpenFlags(a_iOpenFlags),
      m_oFd(openOrMake())
{
    if (!m_oFd) {
        const int iError = errno;
        const std::string sFault = iError == EEXIST ? " is no FIFO" : foreignOwner(m_sName);
        throw std::system_error(iError, std::generic_category(), m_sName + sFault);
    }
    ::fchmod(m_oFd.get(), c_iMode);
}

UniqueFd Fifo::openOrMake() const
{
    for (int iTry = 0; iTry < c_iNameTries; ++iTry) {
        if (!freeForeignName(m_sName)) {
            return {};
        }
        const bool bMade = ::mkfifo(m_sName.c_str(), c_iMode) == 0;
        if (!bMade && errno != EEXIST) {
            return {};
        }
        UniqueFd oFd = openFifo(m_sName, O_RDONLY | m_iOpenFlags);
        struct stat oStatus
        {
        };
        if (oFd && ::fstat(oFd.get(), &oStatus) == 0 && !isForeign(oStatus)) {
            if (bMade) {
                ::fchmod(oFd.get(), c_iMode);
            }
            return oFd;
        }
        if (oFd) { // who made it may have opened it for reading
            ::unlink(m_sName.c_str());
        }
    }
    errno = EEXIST;
    return {};
}

ssize_t Fifo::read(void* a_pBuffer, std::size_t a_iSize)
{
    return ::read(m_oFd.get(), a_pBuffer, a_iSize);
}

bool Fifo::reopen()
{
    UniqueFd oFd = openOrMake();
    if (!oFd) {
        return false;
    }
    m_oFd = std::move(oFd);
    return true;
}

bool Fifo::hasLostName() const
{
    struct stat oOurs
    {
    };
    struct stat oNamed
    {
    };
    if (::fstat(m_oFd.get(), &oOurs) != 0 || ::lstat(m_sName.c_str(), &oNamed) != 0) {
        return true;
    }
    const bool bSame = oOurs.st_dev == oNamed.st_dev && oOurs.st_ino == oNamed.st_ino;
    errno = bSame ? 0 : EEXIST;
    return !bSame;
}

bool Fifo::unlink()
{
    return !hasLostName() && ::unlink(m_sName.c_str()) == 0;
}

} // namespace zel::sys
