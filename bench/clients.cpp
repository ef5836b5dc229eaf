#include "bench/clients.h"

#include "bench/check.h"
#include "bench/childprocess.h"
#include "bench/stopwatch.h"
#include "zel/uniquefd.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace bench {

namespace {

struct Pipe
{
    Pipe()
    {
        int aFds[2];
        check(::pipe2(aFds, O_CLOEXEC) == 0, "no pipe");
        m_oRead.reset(aFds[0]);
        m_oWrite.reset(aFds[1]);
    }

    void tell() const { check(::write(m_oWrite.get(), "", 1) == 1, "a pipe broke"); }
    void awaitTells(int a_iCount) const
    {
        for (char c = 0; a_iCount > 0; --a_iCount) {
            check(::read(m_oRead.get(), &c, 1) == 1, "a client failed");
        }
    }
    /// Until nobody holds the end to write to.
    void awaitEnd() const
    {
        char c = 0;
        check(::read(m_oRead.get(), &c, 1) == 0, "a pipe broke");
    }

    zel::UniqueFd m_oRead;
    zel::UniqueFd m_oWrite;
};

} // namespace

double timeOfClients(int a_iClients, int a_iRequests,
                     const std::function<std::function<void()>()>& a_oConnect)
{
    Pipe oStart;
    Pipe oProgress;
    std::vector<ChildProcess> lClients;
    lClients.reserve(static_cast<std::size_t>(a_iClients));
    for (int i = 0; i < a_iClients; ++i) {
        lClients.emplace_back([&] {
            oStart.m_oWrite.reset();
            const auto oRequest = a_oConnect();
            oProgress.tell();
            oStart.awaitEnd();
            for (int iRequest = 0; iRequest < a_iRequests; ++iRequest) {
                oRequest();
            }
            oProgress.tell();
            return EXIT_SUCCESS;
        });
    }
    oProgress.m_oWrite.reset();
    oProgress.awaitTells(a_iClients);
    const auto oBegin = Clock::now();
    oStart.m_oWrite.reset();
    oProgress.awaitTells(a_iClients);
    return microsecondsSince(oBegin) / (static_cast<double>(a_iClients) * a_iRequests);
}

} // namespace bench
