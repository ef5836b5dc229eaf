// The limit of every request: a server that does nothing but receive 64 bytes and send 128 for them, from an
// epoll loop on a Unix socket. It can be given work to do for each request.
//
// A child process of its own, ended with its object. Takes what has arrived in one go and answers each
// request with a send of its own.
#pragma once

#include "bench/childprocess.h"
#include "bench/workspace.h"
#include "zel/uniquefd.h"

#include <filesystem>
#include <functional>

namespace bench {

constexpr std::size_t c_iEchoRequest = 64; // bytes
constexpr std::size_t c_iEchoReply = 128;

class EchoServer
{
public:
    using Work = std::function<void()>;

    /// The function runs once, in the server's process, and gives what is done before each reply.
    explicit EchoServer(const std::function<Work()>& a_oPrepare = [] { return [] {}; });

    const std::filesystem::path& socket() const { return m_oSocket; }

private:
    Workspace m_oWorkspace;
    std::filesystem::path m_oSocket;
    zel::UniqueFd m_oListener; // listens before the child is made, so that clients need not wait for it
    ChildProcess m_oProcess;
};

} // namespace bench
