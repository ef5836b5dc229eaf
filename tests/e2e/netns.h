// A network namespace of the test's own, in which a test's programs run and the test itself does not. It
// lasts as long as its object or a program in it.
#pragma once

#include "tests/e2e/process.h"
#include "zel/uniquefd.h"

#include <cstdint>
#include <netinet/in.h>
#include <string>

namespace e2e {

class NetworkNamespace
{
public:
    /// Makes one with loopback up; ok() is false when this user may not.
    NetworkNamespace();

    bool ok() const { return static_cast<bool>(m_oNamespace); }
    /// Moves the calling program there; for Process::Start::m_oInChild.
    void enter() const;
    /// Runs a line of the shell there.
    Finished run(const std::string& a_sLine) const;
    /// The same, and expects that it succeeds.
    void shell(const std::string& a_sLine) const;
    /// The same of `ip` with the words.
    void ip(const std::string& a_sWords) const { shell("ip " + a_sWords); }
    /// Makes a socket of the namespace, which any thread may use: SOCK_STREAM or SOCK_DGRAM of IPv4, bound to
    /// the address; port 0 for any.
    zel::UniqueFd bindSocket(int a_iType, const std::string& a_sAddress, std::uint16_t a_iPort) const;
    /// Where `ip` finds the namespace.
    std::string path() const;

private:
    zel::UniqueFd m_oNamespace;
};

sockaddr_in inetAddress(const std::string& a_sAddress, std::uint16_t a_iPort);

} // namespace e2e
