#include "server/mainloop.h"

#include <algorithm>
#include <utility>

namespace zel::cfg {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds c_oPassTime{2000};
constexpr milliseconds c_oGatherWait{10}; // while notifications are pending
constexpr int c_iEventsPerPass = 51;

} // namespace

MainLoop::MainLoop(systema::net::EventDispatcher& a_oEvents, systema::ConfigDispatcher& a_oDispatcher,
                   PersistScript& a_oPersistScript, std::function<bool()> a_oIsStopRequested,
                   std::function<Clock::time_point()> a_oNow)
    : m_oEvents(a_oEvents),
      m_oDispatcher(a_oDispatcher),
      m_oPersistScript(a_oPersistScript),
      m_oIsStopRequested(std::move(a_oIsStopRequested)),
      m_oNow(std::move(a_oNow))
{
}

void MainLoop::run()
{
    m_oDispatcher.tick(m_lChangedTables);
    do {
        runPass();
    } while (!m_oIsStopRequested());
}

void MainLoop::runPass()
{
    const bool bNotifications = handleEvents();
    m_oDispatcher.processLocks();
    if (m_oDispatcher.isLocked()) {
        return;
    }
    if (!m_oDispatcher.isTransactionOpen()) {
        m_oPersistScript.process(false);
        if (bNotifications) {
            m_oDispatcher.sendNotifications();
        }
    }
    m_oDispatcher.tick(m_lChangedTables);
}

bool MainLoop::handleEvents()
{
    const Clock::time_point oEnd = m_oNow() + c_oPassTime;
    // What was changed by the notifications or the ticks of the last pass is not kept waiting either.
    const bool bMayTell = !m_oDispatcher.isLocked() && !m_oDispatcher.isTransactionOpen();
    bool bNotifications = m_oDispatcher.hasNotifications();
    bool bGathering = bMayTell && bNotifications;
    int iCount = 0;
    for (;;) {
        const auto oLeft = std::chrono::ceil<milliseconds>(oEnd - m_oNow());
        const auto oWait = std::max(milliseconds(0), bGathering ? std::min(oLeft, c_oGatherWait) : oLeft);
        const int iHandled = m_oEvents.handleEvents(static_cast<int>(oWait.count()), oEnd);
        iCount += iHandled;
        bNotifications = m_oDispatcher.hasNotifications();
        bGathering = bGathering || bNotifications;
        m_oDispatcher.checkTransactionTimeout();
        // A client that only polls would put a save off for the time of many of its requests.
        const bool bPassIsFull = iCount >= c_iEventsPerPass || m_oPersistScript.isDue();
        if (iHandled == 0 || m_oNow() >= oEnd || m_oIsStopRequested() ||
            (bPassIsFull && !m_oDispatcher.isTransactionOpen())) {
            return bNotifications;
        }
    }
}

} // namespace zel::cfg
