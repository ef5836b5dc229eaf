#include "bench/cpu.h"

#include "bench/check.h"

#include <sched.h>

namespace bench {

namespace {

std::vector<int> readAllowedCpus()
{
    cpu_set_t oSet;
    CPU_ZERO(&oSet);
    check(::sched_getaffinity(0, sizeof oSet, &oSet) == 0, "the processors of this process are unknown");
    std::vector<int> lCpus;
    for (int i = 0; i < CPU_SETSIZE; ++i) {
        if (CPU_ISSET(i, &oSet)) {
            lCpus.push_back(i);
        }
    }
    return lCpus;
}

} // namespace

const std::vector<int>& allowedCpus()
{
    static const std::vector<int> s_lCpus = readAllowedCpus();
    return s_lCpus;
}

void pin(pid_t a_iProcess, int a_iCpu)
{
    cpu_set_t oSet;
    CPU_ZERO(&oSet);
    CPU_SET(a_iCpu, &oSet);
    check(::sched_setaffinity(a_iProcess, sizeof oSet, &oSet) == 0, "a process cannot be pinned");
}

} // namespace bench
