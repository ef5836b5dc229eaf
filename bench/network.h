// The network in which the live-status tables are measured: a kernel's network namespace, a bus and the
// network services, of the measurement's own.
//
// The measurement runs in a child process, and all of it dies with that. Every failure ends the measurement.
#pragma once

#include "bench/childprocess.h"
#include "bench/measurement.h"
#include "tests/privatebus.h"
#include "tools/bus.h"

#include <functional>
#include <string>
#include <vector>

namespace bench {

class Network
{
public:
    /// The calling process must have been moved to the namespace.
    Network();

    /// Carries out commands of `ip`, one a line.
    static void ip(const std::string& a_sCommands);
    /// Sends the signal so many times and returns when the bus has taken all; with its own types unless
    /// others are given.
    void emit(const std::string& a_sSignal, const std::vector<std::string>& a_lArguments,
              unsigned a_iTimes = 1, const std::optional<std::string>& a_oTypes = {});

private:
    const tests::ProcessBus m_oBus;
    const ChildProcess m_oServices;
    zel::netsim::Bus m_oSender;
};

/// Measures in a network. Throws Skipped when this user may make none.
Outcome measureInNetwork(const std::function<Outcome(Network&)>& a_oMeasure);

} // namespace bench
