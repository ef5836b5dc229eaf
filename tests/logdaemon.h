// A log daemon below a directory that stands for "/", which reads when it is told to.
#pragma once

#include "zel/uniquefd.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

class LogDaemon
{
public:
    explicit LogDaemon(const std::filesystem::path& a_oRoot) : m_sPath(a_oRoot / "dev/log")
    {
        std::filesystem::create_directory(a_oRoot / "dev");
        start(SOCK_DGRAM);
    }

    void start(int a_iType)
    {
        stop();
        m_oSocket.reset(::socket(AF_UNIX, a_iType | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        sockaddr_un oAddress{AF_UNIX, {}};
        m_sPath.copy(oAddress.sun_path, sizeof oAddress.sun_path - 1);
        EXPECT_EQ(0, ::bind(m_oSocket.get(), reinterpret_cast<const sockaddr*>(&oAddress), sizeof oAddress));
        if (a_iType == SOCK_STREAM) {
            EXPECT_EQ(0, ::listen(m_oSocket.get(), 1));
        }
    }
    void stop()
    {
        m_oSocket.reset();
        std::filesystem::remove(m_sPath);
    }

    int getFd() const { return m_oSocket.get(); }

    /// The messages that have come since the last call.
    std::vector<std::string> take() const
    {
        std::vector<std::string> lMessages;
        std::array<char, 4096> aBuffer;
        ssize_t iSize = 0;
        while ((iSize = ::recv(m_oSocket.get(), aBuffer.data(), aBuffer.size(), 0)) >= 0) {
            lMessages.emplace_back(aBuffer.data(), static_cast<std::size_t>(iSize));
        }
        return lMessages;
    }

private:
    const std::string m_sPath;
    zel::UniqueFd m_oSocket;
};
