#include "bench/echoserver.h"

#include "bench/check.h"
#include "bench/unixaddress.h"

#include <array>
#include <cerrno>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace bench {

namespace {

constexpr int c_iEventsPerWait = 64;
constexpr std::size_t c_iRequestsPerReceive = 64;

zel::UniqueFd listenOn(const std::filesystem::path& a_oPath)
{
    zel::UniqueFd oSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0));
    const UnixAddress oAddress(a_oPath);
    check(::bind(oSocket.get(), oAddress.get(), oAddress.size()) == 0 &&
              ::listen(oSocket.get(), SOMAXCONN) == 0,
          "the echo server gets no socket");
    return oSocket;
}

void watch(int a_iEpoll, int a_iFd)
{
    epoll_event oEvent{};
    oEvent.events = EPOLLIN;
    oEvent.data.fd = a_iFd;
    check(::epoll_ctl(a_iEpoll, EPOLL_CTL_ADD, a_iFd, &oEvent) == 0, "the echo server cannot wait");
}

/// The client sends whole requests of less than a buffer in all, so a receive never ends within one.
void echo(int a_iFd, const EchoServer::Work& a_oWork)
{
    static std::array<char, c_iRequestsPerReceive * c_iEchoRequest> s_aRequests;
    static constexpr std::array<char, c_iEchoReply> c_aReply{};
    const ssize_t iReceived = ::recv(a_iFd, s_aRequests.data(), s_aRequests.size(), 0);
    if (iReceived <= 0 && errno != EAGAIN) {
        ::close(a_iFd);
    }
    for (ssize_t i = 0; i < iReceived; i += c_iEchoRequest) {
        a_oWork();
        ::send(a_iFd, c_aReply.data(), c_aReply.size(), MSG_NOSIGNAL);
    }
}

int serve(int a_iListener, const EchoServer::Work& a_oWork)
{
    const zel::UniqueFd oEpoll(::epoll_create1(0));
    watch(oEpoll.get(), a_iListener);
    std::array<epoll_event, c_iEventsPerWait> aEvents;
    for (;;) {
        const int iReady = ::epoll_wait(oEpoll.get(), aEvents.data(), c_iEventsPerWait, -1);
        for (int i = 0; i < iReady; ++i) {
            const int iFd = aEvents[static_cast<std::size_t>(i)].data.fd;
            if (iFd == a_iListener) {
                watch(oEpoll.get(), ::accept4(a_iListener, nullptr, nullptr, SOCK_NONBLOCK));
            } else {
                echo(iFd, a_oWork);
            }
        }
    }
}

} // namespace

EchoServer::EchoServer(const std::function<Work()>& a_oPrepare)
    : m_oSocket(m_oWorkspace.path() / "echo.socket"),
      m_oListener(listenOn(m_oSocket)),
      m_oProcess([&] { return serve(m_oListener.get(), a_oPrepare()); })
{
}

} // namespace bench
