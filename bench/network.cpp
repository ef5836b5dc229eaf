#include "bench/network.h"

#include "bench/check.h"
#include "bench/pipe.h"
#include "tools/simulator.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sched.h>
#include <sstream>

namespace bench {

namespace {

void checkDone(const zel::netsim::Failure& a_oFailure)
{
    check(!a_oFailure, a_oFailure.value_or(""));
}

/// Returns when they have their names on the bus.
ChildProcess startServices()
{
    Pipe oReady;
    ChildProcess oServices([&] {
        zel::netsim::Bus oBus;
        checkDone(oBus.connect());
        zel::netsim::Simulator oSimulator(oBus, {});
        checkDone(oSimulator.start());
        oReady.tell();
        while (oBus.dispatch()) {
            pollfd oPoll{oBus.descriptor(), POLLIN, 0};
            ::poll(&oPoll, 1, -1);
        }
        return EXIT_FAILURE;
    });
    oReady.m_oWrite.reset();
    oReady.awaitTells(1);
    return oServices;
}

bool enterOwnNamespace()
{
    return ::unshare(CLONE_NEWNET) == 0;
}

/// What the daemon would log is of no interest.
void dropOutput()
{
    const int iNull = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(iNull, STDOUT_FILENO);
    ::dup2(iNull, STDERR_FILENO);
}

} // namespace

Network::Network() : m_oServices(startServices())
{
    checkDone(m_oSender.connect());
    ip("link set lo up");
}

void Network::ip(const std::string& a_sCommands)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pTool(::popen("ip -batch -", "we"), &::pclose);
    check(pTool != nullptr && std::fputs((a_sCommands + "\n").c_str(), pTool.get()) >= 0, "ip does not run");
}

void Network::emit(const std::string& a_sSignal, const std::vector<std::string>& a_lArguments,
                   unsigned a_iTimes, const std::optional<std::string>& a_oTypes)
{
    zel::netsim::Message oMessage;
    checkDone(zel::netsim::makeSignal(a_sSignal, a_oTypes, a_lArguments, oMessage));
    m_oSender.send(oMessage, a_iTimes);
    check(m_oSender.finish(), "the bus has gone");
}

Outcome measureInNetwork(const std::function<Outcome(Network&)>& a_oMeasure)
{
    if (!ChildProcess([] { return enterOwnNamespace() ? EXIT_SUCCESS : EXIT_FAILURE; }).wait()) {
        throw Skipped("making a network namespace takes root");
    }
    Pipe oResult;
    ChildProcess oChild([&] {
        dropOutput();
        try {
            check(enterOwnNamespace(), "no network namespace");
            Network oNetwork;
            const Outcome oOutcome = a_oMeasure(oNetwork);
            oResult.tell(std::to_string(oOutcome.m_fOurs) + " " + std::to_string(*oOutcome.m_oLimit));
            return EXIT_SUCCESS;
        } catch (const std::exception& oException) {
            oResult.tell(oException.what());
            return EXIT_FAILURE;
        }
    });
    const std::string sResult = oResult.awaitEnd();
    check(oChild.wait(), sResult);
    Outcome oOutcome{0, 0};
    std::istringstream(sResult) >> oOutcome.m_fOurs >> *oOutcome.m_oLimit;
    return oOutcome;
}

} // namespace bench
