#include "bench/clients.h"

#include "bench/childprocess.h"
#include "bench/pipe.h"
#include "bench/stopwatch.h"

#include <cstdlib>
#include <vector>

namespace bench {

double timeOfClients(int a_iClients, int a_iRequests,
                     const std::function<std::function<void()>()>& a_oConnect)
{
    Pipe oStart;
    Pipe oProgress;
    std::vector<ChildProcess> lClients;
    lClients.reserve(static_cast<std::size_t>(a_iClients));
    for (int i = 0; i < a_iClients; ++i) {
        lClients.emplace_back([&] {
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
