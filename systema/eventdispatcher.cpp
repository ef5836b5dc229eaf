#include "systema/eventdispatcher.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <new>
#include <system_error>
#include <utility>

namespace systema::net {

namespace {

constexpr std::chrono::milliseconds c_oRetry{100};     // of a timer for which memory was out
constexpr std::chrono::milliseconds c_oTimersTime{50}; // after which events have their turn

std::uint32_t toEpoll(unsigned a_iFlags)
{
    if (a_iFlags == 0) {
        return EPOLLIN;
    }
    return (a_iFlags & c_iReadable ? EPOLLIN : 0U) | (a_iFlags & c_iWritable ? EPOLLOUT : 0U);
}

int descriptorOf(const epoll_event& a_oEvent)
{
    return static_cast<int>(static_cast<std::uint32_t>(a_oEvent.data.u64));
}

} // namespace

EventDispatcher::EventDispatcher(std::function<Clock::time_point()> a_oNow)
    : m_oNow(std::move(a_oNow)),
      m_oEpoll(::epoll_create1(EPOLL_CLOEXEC))
{
    if (!m_oEpoll) {
        throw std::system_error(errno, std::generic_category(), "epoll_create1");
    }
}

bool EventDispatcher::registerHandler(int a_iFd, unsigned a_iFlags, IEventHandler* a_pHandler)
{
    const std::uint32_t iEvents = toEpoll(a_iFlags);
    auto it = m_mRegistrations.find(a_iFd);
    const bool bKnown = it != m_mRegistrations.end();
    if (!bKnown) {
        // First, so that nothing is listened to whose handler is not known.
        try {
            it = m_mRegistrations.try_emplace(a_iFd).first;
        } catch (const std::bad_alloc&) {
            errno = ENOMEM;
            return false;
        }
    }
    if (bKnown && it->second.m_pHandler == a_pHandler && it->second.m_iEvents == iEvents) {
        return true;
    }
    const unsigned iGeneration = ++m_iGeneration;
    epoll_event oEvent{};
    oEvent.events = iEvents;
    oEvent.data.u64 = static_cast<std::uint64_t>(iGeneration) << 32 | static_cast<std::uint32_t>(a_iFd);
    if (::epoll_ctl(m_oEpoll.get(), bKnown ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, a_iFd, &oEvent) != 0) {
        if (!bKnown) {
            m_mRegistrations.erase(it);
        }
        return false;
    }
    it->second = {a_pHandler, iGeneration, iEvents, (a_iFlags & c_iForTurn) != 0};
    return true;
}

void EventDispatcher::unregisterHandler(int a_iFd)
{
    if (m_mRegistrations.erase(a_iFd) > 0) {
        ::epoll_ctl(m_oEpoll.get(), EPOLL_CTL_DEL, a_iFd, nullptr);
    }
}

EventDispatcher::TimerId EventDispatcher::startTimer(std::chrono::milliseconds a_oDelay,
                                                     std::function<void()> a_oFunction)
{
    const TimerId oId{m_oNow() + a_oDelay, ++m_iTimerCount};
    m_mTimers.emplace(oId, std::move(a_oFunction));
    return oId;
}

void EventDispatcher::cancelTimer(TimerId a_oId)
{
    m_mTimers.erase(a_oId);
}

int EventDispatcher::runTimers()
{
    // Those that start while others run wait for the next turn, or a timer of 0 ms would run for ever. What a
    // timer ends may be what the end of the pass grants.
    const TimerId oLast{m_oNow(), m_iTimerCount};
    const auto oEnd = oLast.first + c_oTimersTime;
    int iCount = 0;
    while (!m_bPassEnds && !m_mTimers.empty() && m_mTimers.begin()->first <= oLast &&
           (iCount == 0 || m_oNow() < oEnd)) {
        auto oTimer = m_mTimers.extract(m_mTimers.begin());
        try {
            oTimer.mapped()();
        } catch (const std::bad_alloc&) {
            oTimer.key().first = m_oNow() + c_oRetry;
            m_mTimers.insert(std::move(oTimer)); // needs no memory
            throw;
        }
        ++iCount;
    }
    return iCount;
}

void EventDispatcher::wait(int a_iTimeoutMs)
{
    int iTimeoutMs = a_iTimeoutMs;
    if (iTimeoutMs > 0 && !m_mTimers.empty()) {
        const auto oWait =
            std::chrono::ceil<std::chrono::milliseconds>(m_mTimers.begin()->first.first - m_oNow());
        iTimeoutMs = static_cast<int>(std::clamp<std::int64_t>(oWait.count(), 0, a_iTimeoutMs));
    }
    const int iReady = ::epoll_wait(m_oEpoll.get(), m_aReady.data(), c_iEventsPerWait, iTimeoutMs);
    m_iReady = static_cast<std::size_t>(std::max(iReady, 0));
    m_iNext = 0;
}

/// Null when its handler is gone.
const EventDispatcher::Registration* EventDispatcher::find(const epoll_event& a_oEvent) const
{
    const std::uint64_t iData = a_oEvent.data.u64;
    const auto it = m_mRegistrations.find(descriptorOf(a_oEvent));
    return it != m_mRegistrations.end() && it->second.m_iGeneration == iData >> 32 ? &it->second : nullptr;
}

int EventDispatcher::runTurns(Clock::time_point a_oEnd)
{
    if (!hasTurns()) {
        return 0;
    }
    int iCount = 0;
    for (const auto oEnd = std::min(a_oEnd, m_oNow() + c_oTurnsTime);
         !m_bPassEnds && hasTurns() && (iCount == 0 || m_oNow() < oEnd); ++iCount) {
        m_pTurns->runNext();
    }
    return iCount;
}

int EventDispatcher::handleEvents(int a_iTimeoutMs, Clock::time_point a_oEnd)
{
    if (std::exchange(m_bPassEnds, false)) {
        return 0;
    }
    int iHandled = runTimers(); // first: what comes meanwhile does not wait for the timers after
    const bool bTimerEndsPass = std::exchange(m_bPassEnds, false);
    if (m_iNext == m_iReady) {
        wait(iHandled > 0 || hasTurns() ? 0 : a_iTimeoutMs);
    }
    int iTurns = 0;
    while (m_iNext < m_iReady && !m_bPassEnds) {
        const epoll_event& oEvent = m_aReady[m_iNext++];
        const Registration* pRegistration = find(oEvent);
        if (pRegistration != nullptr && !pRegistration->m_bForTurn && iTurns == 0) {
            // What came before it is done before it, as far as time allows: a change before a lock.
            iTurns = runTurns(a_oEnd);
            if (m_bPassEnds) {
                --m_iNext;
                break;
            }
            pRegistration = find(oEvent);
        }
        if (pRegistration != nullptr) {
            iHandled += pRegistration->m_bForTurn ? 0 : 1;
            pRegistration->m_pHandler->handleEvent(descriptorOf(oEvent));
        }
        if (m_oNow() >= a_oEnd) {
            break;
        }
    }
    iHandled += iTurns > 0 ? iTurns : runTurns(a_oEnd);
    m_bPassEnds = m_bPassEnds || bTimerEndsPass;
    return iHandled;
}

} // namespace systema::net
