// The event loop: descriptors over epoll, timers, and turns. Owned by main; main thread only.
//
// A handler may register and unregister itself or others, or delete itself, while events are handled: an
// event of a handler that is gone is dropped. A signal ends the wait at once.
#pragma once

#include "zel/uniquefd.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <sys/epoll.h>
#include <unordered_map>

namespace systema::net {

class IEventHandler
{
public:
    virtual ~IEventHandler() = default;

    /// The descriptor is ready for what it was registered for, or has failed: read or write to find out.
    virtual void handleEvent(int a_iFd) = 0;
};

/// What a handler waits for; no flag at all means readable. A hang-up or failure is told whatever the flags.
enum EEventFlags : unsigned
{
    c_iReadable = 1,
    c_iWritable = 2,
    c_iHangUpOnly = 4,
    c_iForTurn = 8 // its handler does no more than queue for a turn, which counts instead of the event
};

/// Who does the work that events have brought: one turn after the other, in an order of its own.
class ITurns
{
public:
    virtual ~ITurns() = default;

    virtual bool isEmpty() const = 0;
    /// Gives the next one its turn; there is one.
    virtual void runNext() = 0;
};

class EventDispatcher
{
public:
    using Clock = std::chrono::steady_clock;
    using TimerId = std::pair<Clock::time_point, unsigned long>;

    /// Tests give a clock of theirs. Throws std::system_error when the system gives no epoll descriptor.
    explicit EventDispatcher(std::function<Clock::time_point()> a_oNow = &Clock::now);

    /// Waits for events of the descriptor; registering it again changes what it waits for.
    /// False (with errno) when the system refuses the descriptor, or memory is out; then nothing has changed.
    [[nodiscard]] bool registerHandler(int a_iFd, unsigned a_iFlags, IEventHandler* a_pHandler);
    /// Forgets the descriptor; call it before the descriptor is closed. Unknown descriptors are ignored.
    void unregisterHandler(int a_iFd);

    /// Calls the function once when the time is over. The id cancels it; an id that has run is ignored. A
    /// function that throws std::bad_alloc is called again a little later.
    TimerId startTimer(std::chrono::milliseconds a_oDelay, std::function<void()> a_oFunction);
    void cancelTimer(TimerId a_oId);

    /// The turns to run, null for none; they must be taken back before they are destroyed.
    void setTurns(ITurns* a_pTurns) { m_pTurns = a_pTurns; }

    Clock::time_point now() const { return m_oNow(); }

    /// Makes the next handleEvents return 0 at once, so that the caller's pass comes to its end. No timer
    /// runs before that, and when an event's handler or a turn calls it, no further one is handled.
    void endPass() { m_bPassEnds = true; }

    /// Runs the timers that are due, handles the events that have come by then, and runs turns for
    /// c_oTurnsTime, after which it is time to look for events; the turns come before the first event that is
    /// not for a turn, if any were asked for by then. When no timer is due and nobody waits for a
    /// turn, it waits for events, at most a_iTimeoutMs milliseconds and not beyond the next timer. After
    /// a_oEnd it handles one event and one turn at most; the events left are handled by the next calls,
    /// before those that come later. Returns how many timers, turns and events (but those for a turn) there
    /// were; 0 when the time was over or a signal came.
    int handleEvents(int a_iTimeoutMs, Clock::time_point a_oEnd = Clock::time_point::max());

    static constexpr std::chrono::milliseconds c_oTurnsTime{5};
    /// More than descriptors have events at a time: one that is new does not wait behind those that wait for
    /// their turn.
    static constexpr std::size_t c_iEventsPerWait = 1088;

private:
    struct Registration
    {
        IEventHandler* m_pHandler = nullptr;
        unsigned m_iGeneration = 0; // tells a descriptor from an earlier one of the same number
        unsigned m_iEvents = 0;
        bool m_bForTurn = false;
    };

    int runTimers();
    bool hasTurns() const { return m_pTurns != nullptr && !m_pTurns->isEmpty(); }
    int runTurns(Clock::time_point a_oEnd);
    void wait(int a_iTimeoutMs);
    const Registration* find(const epoll_event& a_oEvent) const;

    const std::function<Clock::time_point()> m_oNow;
    zel::UniqueFd m_oEpoll;
    std::array<epoll_event, c_iEventsPerWait> m_aReady{}; // by the last wait
    std::size_t m_iReady = 0;
    std::size_t m_iNext = 0; // the first of these that is not handled yet
    std::unordered_map<int, Registration> m_mRegistrations;
    unsigned m_iGeneration = 0;
    std::map<TimerId, std::function<void()>> m_mTimers;
    unsigned long m_iTimerCount = 0;
    ITurns* m_pTurns = nullptr;
    bool m_bPassEnds = false;
};

} // namespace systema::net
