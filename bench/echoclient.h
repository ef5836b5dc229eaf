// A connection to the echo server; blocking.
#pragma once

#include "zel/uniquefd.h"

#include <filesystem>

namespace bench {

class EchoClient
{
public:
    explicit EchoClient(const std::filesystem::path& a_oSocket);

    /// Sends so many requests at once, at most c_iMost, and waits for all their replies.
    void exchange(std::size_t a_iRequests = 1);

    static constexpr std::size_t c_iMost = 16;

private:
    zel::UniqueFd m_oSocket;
};

} // namespace bench
