#include "bench/echoclient.h"

#include "bench/check.h"
#include "bench/echoserver.h"
#include "bench/unixaddress.h"

#include <array>
#include <sys/socket.h>

namespace bench {

EchoClient::EchoClient(const std::filesystem::path& a_oSocket)
    : m_oSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const UnixAddress oAddress(a_oSocket);
    check(::connect(m_oSocket.get(), oAddress.get(), oAddress.size()) == 0, "no echo server");
}

void EchoClient::exchange(std::size_t a_iRequests)
{
    static constexpr std::array<char, c_iMost * c_iEchoRequest> c_aRequests{};
    std::array<char, c_iMost * c_iEchoReply> aReplies;
    check(::send(m_oSocket.get(), c_aRequests.data(), a_iRequests * c_iEchoRequest, MSG_NOSIGNAL) > 0,
          "the echo server is gone");
    for (std::size_t iMissing = a_iRequests * c_iEchoReply; iMissing > 0;) {
        const ssize_t iReceived = ::recv(m_oSocket.get(), aReplies.data(), iMissing, 0);
        check(iReceived > 0, "the echo server is gone");
        iMissing -= static_cast<std::size_t>(iReceived);
    }
}

} // namespace bench
