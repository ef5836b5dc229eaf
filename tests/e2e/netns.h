// A network namespace of the test's own, in which a test's programs run and the test itself does not. It
// lasts as long as its object or a program in it.
#pragma once

#include "tests/e2e/process.h"
#include "zel/uniquefd.h"

#include <string>
#include <vector>

namespace e2e {

class NetworkNamespace
{
public:
    /// Makes one with loopback up; ok() is false when this user may not.
    NetworkNamespace();

    bool ok() const { return static_cast<bool>(m_oNamespace); }
    /// Moves the calling program there; for Process::Start::m_oInChild.
    void enter() const;
    /// Runs `ip` there with the words of the line, and expects that it succeeds.
    void ip(const std::string& a_sWords) const;

private:
    zel::UniqueFd m_oNamespace;
};

} // namespace e2e
