#include "tests/e2e/netns.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <sched.h>
#include <thread>
#include <unistd.h>

namespace e2e {

NetworkNamespace::NetworkNamespace()
{
    // Only the thread that makes it is moved there.
    std::thread([this] {
        if (::unshare(CLONE_NEWNET) == 0) {
            m_oNamespace.reset(::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
        }
    }).join();
    if (ok()) {
        ip("link set lo up");
    }
}

void NetworkNamespace::enter() const
{
    if (::setns(m_oNamespace.get(), CLONE_NEWNET) != 0) {
        ::_exit(EXIT_FAILURE);
    }
}

void NetworkNamespace::ip(const std::string& a_sWords) const
{
    const auto oRun = run("/bin/sh", {{"-c", "ip " + a_sWords}, {}, {}, [this] { enter(); }});
    EXPECT_EQ(0, oRun.m_iStatus) << "ip " << a_sWords << ": " << oRun.m_sErrors;
}

} // namespace e2e
