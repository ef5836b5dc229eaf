#include "server/mainloop.h"

#include <utility>

namespace zel::cfg {

namespace {

constexpr int c_iIdleWaitMs = 2000;
constexpr int c_iGatherWaitMs = 10; // while notifications are pending
constexpr int c_iEventsPerPass = 51;

} // namespace

MainLoop::MainLoop(systema::net::EventDispatcher& a_oEvents, systema::ConfigDispatcher& a_oDispatcher,
                   PersistScript& a_oPersistScript, std::function<bool()> a_oIsStopRequested)
    : m_oEvents(a_oEvents),
      m_oDispatcher(a_oDispatcher),
      m_oPersistScript(a_oPersistScript),
      m_oIsStopRequested(std::move(a_oIsStopRequested))
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
    // What was changed by the notifications or the ticks of the last pass is not kept waiting either.
    const bool bMayTell = !m_oDispatcher.isLocked() && !m_oDispatcher.isTransactionOpen();
    int iWaitMs = bMayTell && m_oDispatcher.hasNotifications() ? c_iGatherWaitMs : c_iIdleWaitMs;
    int iCount = 0;
    int iHandled = 0;
    bool bNotifications = false;
    do {
        iHandled = m_oEvents.handleEvents(iWaitMs);
        iCount += iHandled;
        bNotifications = m_oDispatcher.hasNotifications();
        if (bNotifications) {
            iWaitMs = c_iGatherWaitMs;
        }
        if (m_oDispatcher.isTransactionOpen()) {
            m_oDispatcher.checkTransactionTimeout();
        }
        // A client that only polls would put a save off for the time of many of its requests.
        const bool bPassIsFull = iCount >= c_iEventsPerPass || m_oPersistScript.isDue();
        if (m_oIsStopRequested() || (bPassIsFull && !m_oDispatcher.isTransactionOpen())) {
            break;
        }
    } while (iHandled != 0);
    return bNotifications;
}

} // namespace zel::cfg
