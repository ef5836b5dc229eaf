#include "systema/unixsocketserver.h"

#include "zel/foreignname.h"
#include "zel/log.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace systema::net {

namespace {

constexpr int c_iAcceptsPerEvent = 16;
constexpr std::chrono::milliseconds c_oAcceptPause{100};
constexpr std::chrono::seconds c_oNameCheck{2};

[[noreturn]] void fail(int a_iError, const std::string& a_sWhat)
{
    throw std::system_error(a_iError, std::generic_category(), a_sWhat);
}

zel::UniqueFd makeSocket()
{
    zel::UniqueFd oSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!oSocket) {
        fail(errno, "socket");
    }
    return oSocket;
}

/// The path may fill the whole field: the kernel needs no NUL at its end.
sockaddr_un toAddress(const std::string& a_sPath)
{
    sockaddr_un oAddress{};
    oAddress.sun_family = AF_UNIX;
    a_sPath.copy(oAddress.sun_path, sizeof oAddress.sun_path);
    return oAddress;
}

const sockaddr* asAddress(const sockaddr_un& a_oAddress)
{
    return reinterpret_cast<const sockaddr*>(&a_oAddress);
}

/// Frees the path of what another user has put there where everybody may, and of the socket of a dead
/// process; throws when it is not free after that.
void clearPath(const std::string& a_sPath)
{
    if (!zel::freeForeignName(a_sPath)) {
        fail(errno, a_sPath + zel::foreignOwner(a_sPath));
    }
    struct stat oStat;
    if (::lstat(a_sPath.c_str(), &oStat) != 0) {
        return;
    }
    if (!S_ISSOCK(oStat.st_mode)) {
        fail(EEXIST, a_sPath + " is no socket");
    }
    // Only a refused connection means that nobody listens; a full backlog does not.
    const sockaddr_un oAddress = toAddress(a_sPath);
    if (::connect(makeSocket().get(), asAddress(oAddress), sizeof oAddress) == 0 || errno != ECONNREFUSED) {
        fail(EADDRINUSE, a_sPath);
    }
    ::unlink(a_sPath.c_str());
}

/// Returns 0 or the error. A name that is there is not used, nor a link followed. The mode is given to what
/// was opened and is a socket of ours: the name could be another file's by then, and a umask is that of every
/// thread.
int bindWithMode(int a_iSocket, const std::string& a_sPath, mode_t a_iMode)
{
    const sockaddr_un oAddress = toAddress(a_sPath);
    if (::bind(a_iSocket, asAddress(oAddress), sizeof oAddress) != 0) {
        return errno;
    }
    const zel::UniqueFd oFile(::open(a_sPath.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat oStat;
    if (!oFile || ::fstat(oFile.get(), &oStat) != 0) {
        return errno;
    }
    if (!S_ISSOCK(oStat.st_mode) || zel::isForeign(oStat)) {
        return EADDRINUSE;
    }
    return ::chmod(("/proc/self/fd/" + std::to_string(oFile.get())).c_str(), a_iMode) == 0 ? 0 : errno;
}

/// Takes the name with a function that returns 0, or the error: a_iTaken when the name exists, which is
/// cleared then, a few times at most. What it returned last is an error of the path.
template<typename Function>
void takeName(const std::string& a_sName, const std::string& a_sPath, int a_iTaken, Function a_oTake)
{
    int iError = a_iTaken;
    for (int iTry = 0; iTry < zel::c_iNameTries && iError == a_iTaken; ++iTry) {
        clearPath(a_sName);
        iError = a_oTake();
    }
    if (iError != 0) {
        fail(iError, a_sPath);
    }
}

} // namespace

UnixSocketServer::UnixSocketServer() : m_oSocket(makeSocket()) {}

UnixSocketServer::~UnixSocketServer()
{
    if (!m_sName.empty() && hasName(m_sName)) {
        ::unlink(m_sName.c_str());
    }
}

bool UnixSocketServer::hasName(const std::string& a_sName) const
{
    struct stat oStat;
    return ::lstat(a_sName.c_str(), &oStat) == 0 && oStat.st_dev == m_oFile.m_iDevice &&
           oStat.st_ino == m_oFile.m_iInode;
}

void UnixSocketServer::checkPath(const std::string& a_sPath)
{
    constexpr std::size_t c_iMost = sizeof sockaddr_un::sun_path - 1; // and one for the name beside it
    if (a_sPath.size() > c_iMost) {
        fail(ENAMETOOLONG, a_sPath + ": a socket's path has at most " + std::to_string(c_iMost) + " bytes");
    }
}

void UnixSocketServer::bind(const std::string& a_sPath, mode_t a_iMode)
{
    checkPath(a_sPath);
    clearPath(a_sPath);                        // what is in the way there is an error from the start
    const std::string sBeside = a_sPath + '~'; // one byte, so that it fits whenever the path does
    takeName(sBeside, a_sPath, EADDRINUSE, [&] { return bindWithMode(m_oSocket.get(), sBeside, a_iMode); });
    m_sPath = a_sPath;
    m_iMode = a_iMode;
    m_sName = sBeside;
    struct stat oStat;
    if (::lstat(sBeside.c_str(), &oStat) == 0) {
        m_oFile = {oStat.st_dev, oStat.st_ino};
    }
}

bool UnixSocketServer::hasLostPath() const
{
    return !m_sName.empty() && !hasName(m_sName);
}

zel::UniqueFd UnixSocketServer::makeAgain()
{
    UnixSocketServer oNew;
    oNew.bind(m_sPath, m_iMode);
    oNew.listen(m_iBacklog);
    std::swap(m_sName, oNew.m_sName);
    std::swap(m_oFile, oNew.m_oFile);
    return std::exchange(m_oSocket, std::move(oNew.m_oSocket));
}

void UnixSocketServer::listen(int a_iBacklog)
{
    m_iBacklog = a_iBacklog;
    if (::listen(m_oSocket.get(), a_iBacklog) != 0) {
        fail(errno, m_sPath);
    }
    // A link and no rename, which would replace what another process has put there meanwhile.
    takeName(m_sPath, m_sPath, EEXIST,
             [this] { return ::link(m_sName.c_str(), m_sPath.c_str()) == 0 ? 0 : errno; });
    ::unlink(std::exchange(m_sName, m_sPath).c_str());
}

UnixSocketAcceptor::UnixSocketAcceptor(UnixSocketServer& a_oServer, EventDispatcher& a_oEventDispatcher,
                                       IConnectionSink& a_oSink)
    : m_iModule(ZEL_Sysloglevel_registerModul("UnixSocket")),
      m_oServer(a_oServer),
      m_oEventDispatcher(a_oEventDispatcher),
      m_oSink(a_oSink)
{
    if (!m_oEventDispatcher.registerHandler(m_oServer.getFd(), 0, this)) {
        fail(errno, "epoll");
    }
    m_oCheck = m_oEventDispatcher.startTimer(c_oNameCheck, [this] { checkName(); });
}

UnixSocketAcceptor::~UnixSocketAcceptor()
{
    m_oEventDispatcher.unregisterHandler(m_oServer.getFd());
    for (const auto& oTimer : {m_oPause, m_oCheck}) {
        if (oTimer) {
            m_oEventDispatcher.cancelTimer(*oTimer);
        }
    }
}

void UnixSocketAcceptor::handleEvent(int a_iFd)
{
    for (int i = 0; i < c_iAcceptsPerEvent; ++i) {
        if (!hasSpareDescriptors()) {
            pause(EMFILE);
            return;
        }
        zel::UniqueFd oSocket(::accept4(a_iFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (oSocket) {
            m_bPauseLogged = false;
            m_oSink.takeConnection(std::move(oSocket));
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            pause(errno);
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return; // nobody is waiting
        }
    }
}

bool UnixSocketAcceptor::hasSpareDescriptors() const
{
    // The lowest number that is free tells how many are in use, give or take those closed in between.
    const zel::UniqueFd oNext(::fcntl(m_oServer.getFd(), F_DUPFD_CLOEXEC, 0));
    rlimit oLimit{};
    return oNext && ::getrlimit(RLIMIT_NOFILE, &oLimit) == 0 &&
           static_cast<rlim_t>(oNext.get()) + c_iSpareDescriptors <= oLimit.rlim_cur;
}

void UnixSocketAcceptor::checkName()
{
    m_oCheck = m_oEventDispatcher.startTimer(c_oNameCheck, [this] { checkName(); });
    if (!m_oServer.hasLostPath()) {
        m_bRemovalLogged = false;
        return;
    }
    try {
        if (!m_oPause) {
            handleEvent(m_oServer.getFd()); // who connected before the name was removed
        }
        const zel::UniqueFd oOld = m_oServer.makeAgain();
        m_oEventDispatcher.unregisterHandler(oOld.get());
        ZEL_Sysloglevel_warning(m_iModule, zel::here(), "The socket was removed and is made again");
        if (!m_oPause) {
            resume();
        }
    } catch (const std::system_error& oError) {
        if (!std::exchange(m_bRemovalLogged, true)) {
            ZEL_Sysloglevel_error(m_iModule, zel::here(),
                                  "The socket was removed and cannot be made again: %s", oError.what());
        }
    }
}

void UnixSocketAcceptor::pause(int a_iError)
{
    if (!std::exchange(m_bPauseLogged, true)) {
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "Accepting connections pauses: %s",
                              std::strerror(a_iError));
    }
    // The timer first, for which memory may be out: without it nobody would be accepted any more.
    m_oPause = m_oEventDispatcher.startTimer(c_oAcceptPause, [this] { resume(); });
    m_oEventDispatcher.unregisterHandler(m_oServer.getFd());
}

void UnixSocketAcceptor::resume()
{
    m_oPause.reset();
    if (!m_oEventDispatcher.registerHandler(m_oServer.getFd(), 0, this)) {
        pause(errno);
    }
}

} // namespace systema::net
