// Shares the main thread's time between the connections of clients.
//
// Users have one turn each in a circle, so that a user has the same weight with one connection as with
// hundreds. Of a user's connections the one that used least time lately is next; when others have gone before
// the longest-waiting one for c_oAheadTime, that one is next. So a short request does not wait for the sum of
// the long ones, and no long one waits for ever.
//
// Owned by the service manager, run by the event dispatcher. Main thread only.
#pragma once

#include "systema/eventdispatcher.h"

#include <chrono>
#include <cstddef>
#include <list>
#include <map>
#include <sys/types.h>

namespace zel::cfg {

class TurnQueue;
class TurnTaker;

/// A user that has takers, and those of them that wait, first come first.
struct TurnUser
{
    std::list<TurnTaker*> m_lWaiting;
    std::chrono::steady_clock::duration m_oAhead{}; // that others have gone before the first
    std::size_t m_iTakers = 0;
};

constexpr std::chrono::milliseconds c_oAheadTime{5};  // by which the longest-waiting taker can be delayed
constexpr std::chrono::milliseconds c_oLongTurn{10};  // what a bulk read that begins is taken for
constexpr std::chrono::milliseconds c_oShortTurns{1}; // used lately: the search for less ends here
constexpr std::chrono::milliseconds c_oIdleTime{100}; // without a request, then half of the used time counts

/// Who has turns. It may destroy itself in its turn.
class TurnTaker
{
public:
    TurnTaker(TurnQueue& a_oQueue, uid_t a_iUser);
    virtual ~TurnTaker();
    TurnTaker(const TurnTaker&) = delete;
    TurnTaker& operator=(const TurnTaker&) = delete;

    virtual void onTurn() = 0;

    uid_t getUser() const { return m_iUser; }

protected:
    /// Queues for a turn. Allocates no memory; a taker that is queued already keeps its place.
    void awaitTurn();
    /// As awaitTurn, for a turn that is going to take long.
    void awaitLongTurn();
    /// Another one waits, of whichever user.
    bool doOthersWait() const;

private:
    friend class TurnQueue;
    using Clock = systema::net::EventDispatcher::Clock;

    bool isWaiting() const { return m_lPlace.empty(); }
    Clock::duration getCost() const { return m_oUsed + (m_bLong ? c_oLongTurn : Clock::duration::zero()); }

    TurnQueue& m_oQueue;
    const uid_t m_iUser;
    TurnUser& m_oUser;
    std::list<TurnTaker*> m_lPlace{this}; // empty while the place is among those that wait
    const std::list<TurnTaker*>::const_iterator m_itPlace = m_lPlace.begin();
    bool m_bLong = false;           // the turn that it waits for
    Clock::duration m_oUsed{};      // lately
    Clock::time_point m_oLastEnd{}; // of its turns
};

class TurnQueue : public systema::net::ITurns
{
public:
    /// Runs in the event dispatcher, which must outlive it.
    explicit TurnQueue(systema::net::EventDispatcher& a_oEvents);
    ~TurnQueue() override;
    TurnQueue(const TurnQueue&) = delete;
    TurnQueue& operator=(const TurnQueue&) = delete;

    bool isEmpty() const override { return m_iWaiting == 0; }
    void runNext() override;

private:
    friend class TurnTaker;
    using Clock = systema::net::EventDispatcher::Clock;

    TurnUser& nextUser();
    static TurnTaker& choose(const TurnUser& a_oUser);
    void dequeue(TurnTaker& a_oTaker);

    systema::net::EventDispatcher& m_oEvents;
    std::map<uid_t, TurnUser> m_mUsers;
    std::size_t m_iWaiting = 0;
    uid_t m_iLastUser = 0;
    TurnTaker* m_pRunning = nullptr;
};

} // namespace zel::cfg
