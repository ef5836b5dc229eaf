// The base of tests of ledgerd among network services: a bus and a network namespace of the test's own, and
// the simulator in place of the services. Skips the test when this user may make no namespace.
#pragma once

#include "tests/e2e/daemontest.h"
#include "tests/e2e/netns.h"
#include "tests/privatebus.h"

namespace e2e {

class NetTest : public DaemonTest
{
protected:
    /// The bus has the policy, see tests::PrivateBus.
    explicit NetTest(const std::string& a_sPolicy = tests::PrivateBus::c_pOpenPolicy);
    void SetUp() override;

    /// Starts the daemon in the namespace.
    void startDaemon();
    /// Starts the simulator, in place of the one that runs, and waits until it serves.
    void serve(std::vector<std::string> a_lMoreOptions = {}, const std::function<void()>& a_oInChild = {});
    /// Gives the simulator a line to carry out.
    void tell(const std::string& a_sCommand) const;
    /// Runs another process of the simulator's program, and waits for its end.
    Finished netsim(std::vector<std::string> a_lArguments, std::function<void()> a_oInChild = {}) const;

    /// A cell of the first row whose column has the value.
    std::string at(const std::string& a_sTable, const std::string& a_sKeyColumn, const std::string& a_sKey,
                   const std::string& a_sColumn);
    /// Waits until the function gives the value.
    static void await(const std::string& a_sValue, const std::function<std::string()>& a_oFunction);

    Process& services() { return *m_pServices; }
    void ip(const std::string& a_sWords) const { m_oNamespace.ip(a_sWords); }

    const NetworkNamespace m_oNamespace;
    tests::PrivateBus m_oBus;

private:
    const std::string m_sNetsim; // where every user can run it
    zel::UniqueFd m_oCommands;   // keeps the FIFO open, so that its reader finds no end
    std::unique_ptr<Process> m_pServices;
};

} // namespace e2e
