// A system bus of the test's own, in the test's sandbox. Owned by the test; dies with it.
#pragma once

#include "tests/e2e/process.h"
#include "tests/e2e/sandbox.h"

#include <memory>
#include <string>

namespace e2e {

class PrivateBus
{
public:
    /// Whoever is on it may do what he wants, unless a policy is given: the elements of the configuration
    /// that come after the rules of a real system bus.
    explicit PrivateBus(const Sandbox& a_oSandbox, const std::string& a_sPolicy = {});

    /// Starts it and waits until it accepts connections.
    void start();
    /// Kills it.
    void stop() { m_pProcess.reset(); }

    std::string address() const { return "unix:path=" + m_sSocket; }

private:
    const std::string m_sConfiguration;
    const std::string m_sSocket;
    std::unique_ptr<Process> m_pProcess;
};

} // namespace e2e
