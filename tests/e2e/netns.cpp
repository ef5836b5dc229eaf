#include "tests/e2e/netns.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace e2e {

NetworkNamespace::NetworkNamespace()
{
    // Only the thread that makes it is moved there.
    std::thread([this] {
        if (::unshare(CLONE_NEWNET) == 0) {
            m_oNamespace.reset(::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
        }
    }).join();
    if (ok()) {
        ip("link set lo up");
    }
}

void NetworkNamespace::enter() const
{
    if (::setns(m_oNamespace.get(), CLONE_NEWNET) != 0) {
        ::_exit(EXIT_FAILURE);
    }
}

Finished NetworkNamespace::run(const std::string& a_sLine) const
{
    return e2e::run("/bin/sh", {{"-c", a_sLine}, {}, {}, [this] { enter(); }});
}

void NetworkNamespace::shell(const std::string& a_sLine) const
{
    const auto oRun = run(a_sLine);
    EXPECT_EQ(0, oRun.m_iStatus) << a_sLine << ": " << oRun.m_sErrors;
}

zel::UniqueFd NetworkNamespace::bindSocket(int a_iType, const std::string& a_sAddress,
                                           std::uint16_t a_iPort) const
{
    zel::UniqueFd oSocket;
    std::thread([&] {
        ::setns(m_oNamespace.get(), CLONE_NEWNET);
        oSocket.reset(::socket(AF_INET, a_iType | SOCK_CLOEXEC, 0));
    }).join();
    const sockaddr_in oAddress = inetAddress(a_sAddress, a_iPort);
    const int iOn = 1;
    ::setsockopt(oSocket.get(), SOL_SOCKET, SO_REUSEADDR, &iOn, sizeof iOn);
    EXPECT_EQ(0, ::bind(oSocket.get(), reinterpret_cast<const sockaddr*>(&oAddress), sizeof oAddress))
        << a_sAddress << ":" << a_iPort << ": " << std::strerror(errno);
    return oSocket;
}

std::string NetworkNamespace::path() const
{
    return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(m_oNamespace.get());
}

sockaddr_in inetAddress(const std::string& a_sAddress, std::uint16_t a_iPort)
{
    sockaddr_in oAddress{};
    oAddress.sin_family = AF_INET;
    oAddress.sin_port = htons(a_iPort);
    ::inet_aton(a_sAddress.c_str(), &oAddress.sin_addr);
    return oAddress;
}

} // namespace e2e
