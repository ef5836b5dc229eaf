#include "server/signals.h"

#include "zel/log.h"
#include "zel/stopflag.h"

#include <atomic>
#include <csignal>
#include <syslog.h>
#include <unistd.h>

namespace zel::cfg {

namespace {

int s_iModule = 0;

std::atomic<int> s_iEndSignal = 0; // that ends the process in the end, 0 for none

void onTermination(int a_iSignal)
{
    std::signal(a_iSignal, SIG_IGN);
    zel::requestStop();
    if (std::signal(a_iSignal, &onTermination) == SIG_ERR) {
        ::syslog(LOG_USER | LOG_ERR,
                 "ledgerd[%d] Failed to reregister Signal Handler SIGTERM for Signal %d!\n",
                 static_cast<int>(::getpid()), a_iSignal);
    }
}

void onEnd(int a_iSignal)
{
    s_iEndSignal = a_iSignal;
    zel::requestStop();
}

void onPipe(int)
{
    ZEL_Sysloglevel_error(s_iModule, {"main", 76}, "Unexpected signal caught");
}

/// What our parent has us ignore stays ignored, as the end of a terminal with nohup.
void catchUnlessIgnored(int a_iSignal, const struct sigaction& a_oAction)
{
    struct sigaction oInherited
    {
    };
    if (::sigaction(a_iSignal, nullptr, &oInherited) == 0 && oInherited.sa_handler != SIG_IGN) {
        ::sigaction(a_iSignal, &a_oAction, nullptr);
    }
}

} // namespace

void installSignalHandlers(int a_iModule)
{
    s_iModule = a_iModule;
    struct sigaction oAction
    {
    };
    sigemptyset(&oAction.sa_mask);
    oAction.sa_handler = &onTermination;
    for (const int iSignal : {SIGINT, SIGTERM, SIGQUIT}) {
        ::sigaction(iSignal, &oAction, nullptr);
    }
    oAction.sa_handler = &onEnd;
    for (int iSignal = SIGRTMIN; iSignal <= SIGRTMAX; ++iSignal) {
        catchUnlessIgnored(iSignal, oAction);
    }
    for (const int iSignal : {SIGHUP, SIGUSR1, SIGUSR2, SIGVTALRM, SIGPROF, SIGIO, SIGPWR, SIGSTKFLT}) {
        catchUnlessIgnored(iSignal, oAction);
    }
    oAction.sa_handler = &onPipe;
    ::sigaction(SIGPIPE, &oAction, nullptr);
    oAction.sa_handler = SIG_DFL; // when ignored by our parent, the status of a command would be lost
    ::sigaction(SIGCHLD, &oAction, nullptr);
}

int getEndSignal()
{
    return s_iEndSignal;
}

void raiseEndSignal()
{
    if (const int iSignal = s_iEndSignal; iSignal != 0) {
        std::signal(iSignal, SIG_DFL);
        std::raise(iSignal);
    }
}

} // namespace zel::cfg
