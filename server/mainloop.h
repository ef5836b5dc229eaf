// The main loop: handles events in passes and, between them, does what concerns all clients: locks, saves,
// notifications, and the ticks of the plugins.
//
// What throws for want of memory ends its part of the pass, which is logged once; every cache is dropped
// then, and the next pass goes on. Other exceptions of what it calls pass through.
//
// Made by main, which owns everything that it uses. Main thread only.
#pragma once

#include "systema/configdispatcher.h"
#include "systema/eventdispatcher.h"
#include "systema/persistscript.h"

#include <functional>

namespace zel::cfg {

class MainLoop
{
public:
    using Clock = systema::net::EventDispatcher::Clock;

    MainLoop(systema::net::EventDispatcher& a_oEvents, systema::ConfigDispatcher& a_oDispatcher,
             PersistScript& a_oPersistScript, std::function<bool()> a_oIsStopRequested,
             std::function<Clock::time_point()> a_oNow = &Clock::now);

    /// Runs passes until the stop is requested.
    void run();
    /// One pass: handles events until there are no more, or enough, or its time is over, then does what is
    /// due.
    void runPass();

private:
    void handleEvents();
    void finishPass();
    void recover();

    systema::net::EventDispatcher& m_oEvents;
    systema::ConfigDispatcher& m_oDispatcher;
    PersistScript& m_oPersistScript;
    const std::function<bool()> m_oIsStopRequested;
    const std::function<Clock::time_point()> m_oNow;
    systema::NameList m_lChangedTables; // by the ticks
    const int m_iModule;
    bool m_bShort = false; // of memory, in the last pass
};

} // namespace zel::cfg
