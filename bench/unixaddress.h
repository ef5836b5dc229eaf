// The address of a Unix socket, as the system calls want it.
#pragma once

#include "bench/check.h"

#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>

namespace bench {

class UnixAddress
{
public:
    explicit UnixAddress(const std::string& a_sPath)
    {
        check(a_sPath.size() < sizeof m_oAddress.sun_path, a_sPath + " is too long for a socket");
        m_oAddress.sun_family = AF_UNIX;
        std::memcpy(m_oAddress.sun_path, a_sPath.c_str(), a_sPath.size() + 1);
    }

    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&m_oAddress); }
    static socklen_t size() { return sizeof(sockaddr_un); }

private:
    sockaddr_un m_oAddress{};
};

} // namespace bench
