// Events of the server and their callbacks. Main thread only.
#pragma once

#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace configmanager::serverlib {

/// What happens to the server as a whole.
enum class ServerEvents
{
    Shutdown = 0
};

template<typename Signature>
class Event;

/// Callbacks by event value.
template<typename EventType>
class Event<void(EventType)>
{
public:
    /// Adds a callback for the event.
    void on(EventType a_eEvent, std::function<void()> a_oCallback)
    {
        m_mCallbacks[a_eEvent].push_back(std::move(a_oCallback));
    }

    /// Calls every callback of the event, in the order of registration; none when there is none.
    void emit(EventType a_eEvent) const
    {
        if (auto it = m_mCallbacks.find(a_eEvent); it != m_mCallbacks.end()) {
            for (const auto& oCallback : it->second) {
                oCallback();
            }
        }
    }

    void clear() { m_mCallbacks.clear(); }

private:
    std::map<EventType, std::vector<std::function<void()>>> m_mCallbacks;
};

} // namespace configmanager::serverlib
