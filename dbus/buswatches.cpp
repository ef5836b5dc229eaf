#include "dbus/buswatches.h"

#include <algorithm>
#include <poll.h>

namespace zel {

DBus::Watch* BusWatches::add_watch(DBus::Watch::Internal* a_pWatch)
{
    const auto it = std::ranges::find_if_not(m_aWatches, &std::optional<SocketWatch>::has_value);
    return it == m_aWatches.end() ? nullptr : &it->emplace(a_pWatch);
}

void BusWatches::rem_watch(DBus::Watch* a_pWatch)
{
    for (auto& oWatch : m_aWatches) {
        if (oWatch && &*oWatch == a_pWatch) {
            oWatch.reset();
        }
    }
}

bool BusWatches::wait(std::chrono::milliseconds a_oMost)
{
    std::array<pollfd, std::tuple_size_v<decltype(m_aWatches)>> aPolls{};
    for (std::size_t i = 0; i < aPolls.size(); ++i) {
        const auto& oWatch = m_aWatches[i];
        aPolls[i].fd = -1;
        if (oWatch && oWatch->enabled()) {
            const int iFlags = oWatch->flags();
            aPolls[i].fd = oWatch->descriptor();
            aPolls[i].events = static_cast<short>(((iFlags & DBUS_WATCH_READABLE) != 0 ? POLLIN : 0) |
                                                  ((iFlags & DBUS_WATCH_WRITABLE) != 0 ? POLLOUT : 0));
        }
    }
    const bool bReady = ::poll(aPolls.data(), aPolls.size(), static_cast<int>(a_oMost.count())) > 0;
    if (bReady) {
        for (std::size_t i = 0; i < aPolls.size(); ++i) {
            const int iEvents = aPolls[i].revents;
            if (iEvents != 0 && m_aWatches[i]) { // handling the one before it may have removed it
                m_aWatches[i]->handle(((iEvents & POLLIN) != 0 ? DBUS_WATCH_READABLE : 0) |
                                      ((iEvents & POLLOUT) != 0 ? DBUS_WATCH_WRITABLE : 0) |
                                      ((iEvents & POLLHUP) != 0 ? DBUS_WATCH_HANGUP : 0) |
                                      ((iEvents & POLLERR) != 0 ? DBUS_WATCH_ERROR : 0));
            }
        }
    }
    dispatch_pending();
    return bReady;
}

} // namespace zel
