#include "server/mainloop.h"

#include "zel/log.h"
#include "zel/memory.h"

#include <algorithm>
#include <new>
#include <utility>

namespace zel::cfg {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds c_oPassTime{2000};
constexpr milliseconds c_oGatherWait{10}; // while notifications are pending
constexpr int c_iEventsPerPass = 51;

/// Stops the exception that says that memory is out.
template<typename Function>
void unlessOutOfMemory(Function a_oFunction)
{
    try {
        a_oFunction();
    } catch (const std::bad_alloc&) {
        noteMemoryFailure();
    }
}

} // namespace

MainLoop::MainLoop(systema::net::EventDispatcher& a_oEvents, systema::ConfigDispatcher& a_oDispatcher,
                   PersistScript& a_oPersistScript, std::function<bool()> a_oIsStopRequested,
                   std::function<Clock::time_point()> a_oNow)
    : m_oEvents(a_oEvents),
      m_oDispatcher(a_oDispatcher),
      m_oPersistScript(a_oPersistScript),
      m_oIsStopRequested(std::move(a_oIsStopRequested)),
      m_oNow(std::move(a_oNow)),
      m_iModule(ZEL_Sysloglevel_registerModul("MainLoop"))
{
}

void MainLoop::run()
{
    unlessOutOfMemory([this] { m_oDispatcher.tick(m_lChangedTables); });
    do {
        runPass();
    } while (!m_oIsStopRequested());
}

void MainLoop::runPass()
{
    // Each part by itself: what could not be done for one is not to keep others from their turn.
    unlessOutOfMemory([this] { handleEvents(); });
    unlessOutOfMemory([this] { m_oDispatcher.processLocks(); });
    if (!m_oDispatcher.isLocked()) {
        finishPass();
    }
    recover();
}

void MainLoop::finishPass()
{
    if (!m_oDispatcher.isTransactionOpen()) {
        const bool bNotifications = m_oDispatcher.hasNotifications();
        unlessOutOfMemory([this] { m_oPersistScript.process(false); });
        if (bNotifications) {
            unlessOutOfMemory([this] { m_oDispatcher.sendNotifications(); });
        }
    }
    unlessOutOfMemory([this] { m_oDispatcher.tick(m_lChangedTables); });
}

void MainLoop::recover()
{
    // Told once, for a shortage may last for many passes.
    const bool bWasShort = std::exchange(m_bShort, isMemoryShort());
    if (m_bShort && !bWasShort) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Out of memory: caches are dropped");
    } else if (bWasShort && !m_bShort) {
        ZEL_Sysloglevel_info(m_iModule, here(), "There is memory again");
        if (m_oDispatcher.connectionOpened()) {
            m_oDispatcher.open(this); // what could not be opened again after a dump
        }
    }
    if (m_bShort) {
        recoverMemory();
    }
}

void MainLoop::handleEvents()
{
    const Clock::time_point oEnd = m_oNow() + c_oPassTime;
    // What was changed by the notifications or the ticks of the last pass is not kept waiting either.
    const bool bMayTell = !m_oDispatcher.isLocked() && !m_oDispatcher.isTransactionOpen();
    bool bGathering = bMayTell && m_oDispatcher.hasNotifications();
    int iCount = 0;
    for (;;) {
        const auto oLeft = std::chrono::ceil<milliseconds>(oEnd - m_oNow());
        const auto oWait = std::max(milliseconds(0), bGathering ? std::min(oLeft, c_oGatherWait) : oLeft);
        const int iHandled = m_oEvents.handleEvents(static_cast<int>(oWait.count()), oEnd);
        iCount += iHandled;
        bGathering = bGathering || m_oDispatcher.hasNotifications();
        m_oDispatcher.checkTransactionTimeout();
        // A client that only polls would put a save off for the time of many of its requests.
        const bool bPassIsFull = iCount >= c_iEventsPerPass || m_oPersistScript.isDue();
        if (iHandled == 0 || m_oNow() >= oEnd || m_oIsStopRequested() ||
            (bPassIsFull && !m_oDispatcher.isTransactionOpen())) {
            return;
        }
    }
}

} // namespace zel::cfg
