#include "bench/childprocess.h"

#include "bench/check.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace bench {

ChildProcess::ChildProcess(const std::function<int()>& a_oBody) : m_iPid(::fork())
{
    check(m_iPid >= 0, "no process could be made");
    if (m_iPid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        int iStatus = EXIT_FAILURE;
        try {
            iStatus = a_oBody();
        } catch (const std::exception& oException) {
            std::cerr << "ledger_bench: " << oException.what() << std::endl;
        }
        ::_exit(iStatus);
    }
}

ChildProcess::~ChildProcess()
{
    if (m_iPid > 0) {
        ::kill(m_iPid, SIGKILL);
        ::waitpid(m_iPid, nullptr, 0);
    }
}

ChildProcess::ChildProcess(ChildProcess&& a_oOther) noexcept : m_iPid(std::exchange(a_oOther.m_iPid, -1)) {}

bool ChildProcess::wait()
{
    int iStatus = 0;
    return ::waitpid(std::exchange(m_iPid, -1), &iStatus, 0) > 0 && WIFEXITED(iStatus) &&
           WEXITSTATUS(iStatus) == EXIT_SUCCESS;
}

} // namespace bench
