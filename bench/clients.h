// Several clients at once, each a process of its own on the processor of this one.
#pragma once

#include <functional>

namespace bench {

/// Makes the clients, lets each connect (the function gives its request), then lets all of them send their
/// requests one after the other. Returns the time per request, in microseconds.
double timeOfClients(int a_iClients, int a_iRequests,
                     const std::function<std::function<void()>()>& a_oConnect);

} // namespace bench
