// Queues the neighbours that com.kestrane.network.IPv4Neighbour announces, for who takes them from time to
// time. Removals are not queued: clients age out instead. Main thread only.
#pragma once

#include "dbus/busobject.h"
#include "dbus/neighbour.h"

#include <deque>
#include <utility>

namespace zel {

class NeighbourDBusProxy
{
public:
    /// So many are kept; then the oldest gives way.
    static constexpr std::size_t c_iMostQueued = 1024;

    explicit NeighbourDBusProxy(SystemBus& a_oBus);

    /// Empties the queue; the oldest comes first.
    std::deque<Neighbour> take() { return std::exchange(m_lQueue, {}); }

private:
    class Remote;

    std::deque<Neighbour> m_lQueue;
    BusObject m_oObject;
};

} // namespace zel
