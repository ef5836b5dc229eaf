#include "configmanager/turnqueue.h"

namespace zel::cfg {

TurnTaker::TurnTaker(TurnQueue& a_oQueue, uid_t a_iUser)
    : m_oQueue(a_oQueue),
      m_iUser(a_iUser),
      m_oUser(a_oQueue.m_mUsers[a_iUser])
{
    ++m_oUser.m_iTakers;
}

TurnTaker::~TurnTaker()
{
    if (isWaiting()) {
        m_oQueue.dequeue(*this);
    }
    if (m_oQueue.m_pRunning == this) {
        m_oQueue.m_pRunning = nullptr;
    }
    if (--m_oUser.m_iTakers == 0) {
        m_oQueue.m_mUsers.erase(m_iUser);
    }
}

void TurnTaker::awaitTurn()
{
    if (isWaiting()) {
        return;
    }
    if (m_oQueue.m_pRunning != this && m_oUsed >= c_oShortTurns) { // less counts as nothing
        m_oUsed /= 1 + (m_oQueue.m_oEvents.now() - m_oLastEnd) / c_oIdleTime;
    }
    m_oUser.m_lWaiting.splice(m_oUser.m_lWaiting.end(), m_lPlace);
    ++m_oQueue.m_iWaiting;
}

void TurnTaker::awaitLongTurn()
{
    awaitTurn();
    m_bLong = true;
}

bool TurnTaker::doOthersWait() const
{
    return !m_oQueue.isEmpty();
}

TurnQueue::TurnQueue(systema::net::EventDispatcher& a_oEvents) : m_oEvents(a_oEvents)
{
    m_oEvents.setTurns(this);
}

TurnQueue::~TurnQueue()
{
    m_oEvents.setTurns(nullptr);
}

void TurnQueue::dequeue(TurnTaker& a_oTaker)
{
    a_oTaker.m_lPlace.splice(a_oTaker.m_lPlace.end(), a_oTaker.m_oUser.m_lWaiting, a_oTaker.m_itPlace);
    a_oTaker.m_bLong = false;
    --m_iWaiting;
}

/// Of those that have someone waiting.
TurnUser& TurnQueue::nextUser()
{
    auto it = m_mUsers.upper_bound(m_iLastUser);
    while (it == m_mUsers.end() || it->second.m_lWaiting.empty()) {
        it = it == m_mUsers.end() ? m_mUsers.begin() : std::next(it);
    }
    m_iLastUser = it->first;
    return it->second;
}

TurnTaker& TurnQueue::choose(const TurnUser& a_oUser)
{
    TurnTaker* pBest = a_oUser.m_lWaiting.front();
    if (a_oUser.m_oAhead < c_oAheadTime) {
        for (TurnTaker* pTaker : a_oUser.m_lWaiting) {
            if (pTaker->getCost() < pBest->getCost()) {
                pBest = pTaker;
            }
            if (pBest->getCost() < c_oShortTurns) {
                break;
            }
        }
    }
    return *pBest;
}

void TurnQueue::runNext()
{
    TurnUser& oUser = nextUser();
    TurnTaker& oTaker = choose(oUser);
    m_pRunning = &oTaker;
    const bool bGoesBefore = &oTaker != oUser.m_lWaiting.front();
    dequeue(oTaker);

    const Clock::time_point oStart = m_oEvents.now();
    oTaker.onTurn();
    const Clock::time_point oEnd = m_oEvents.now();
    if (m_pRunning != nullptr) {
        m_pRunning->m_oUsed += oEnd - oStart;
        m_pRunning->m_oLastEnd = oEnd;
        m_pRunning = nullptr;
    }
    // The user may be gone with its last taker.
    if (const auto it = m_mUsers.find(m_iLastUser); it != m_mUsers.end()) {
        auto& oAhead = it->second.m_oAhead;
        oAhead = bGoesBefore ? oAhead + (oEnd - oStart) : Clock::duration::zero();
    }
}

} // namespace zel::cfg
