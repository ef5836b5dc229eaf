// Which processor a process runs on. Client, server and limits share one, so that the time of a request is
// all the work it costs, whoever does it.
#pragma once

#include <sys/types.h>
#include <vector>

namespace bench {

/// The processors that this process might use when this was first asked for.
const std::vector<int>& allowedCpus();

/// Puts a process (0: this one, and every child it makes from now on) on one processor.
void pin(pid_t a_iProcess, int a_iCpu);

} // namespace bench
