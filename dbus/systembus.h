// The connection to the system bus, and what is bound to it.
//
// Owned by main; main thread only, every callback included: signals are delivered by iterate and nowhere
// else. A bus that is not there, or goes away, is logged once and looked for again every five seconds;
// everything bound to the old connection is then bound to the new one. A service that leaves the bus, and one
// that is back, is logged. The loop waits for the bus within
// WaitTime, whatever it does. Nothing throws but std::bad_alloc.
#pragma once

#include "dbus/waittime.h"

#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace zel {

class BusConnection;
class BusObject;

class SystemBus
{
public:
    using Clock = std::chrono::steady_clock;

    /// Signals that one iteration delivers at most; what is left of a flood waits for the next one.
    static constexpr unsigned c_iMostMessages = 2048;
    /// From the end of a try to connect to the next one.
    static constexpr std::chrono::seconds c_oReconnectWait{5};

    /// Connects to the bus of the environment variable DBUS_SYSTEM_BUS_ADDRESS, or the system's own.
    /// The clock is a test's, if any. Keeps libdbus from ending the process from now on.
    explicit SystemBus(std::function<Clock::time_point()> a_oNow = &Clock::now);
    ~SystemBus();
    SystemBus(const SystemBus&) = delete;
    SystemBus& operator=(const SystemBus&) = delete;

    /// Delivers what is pending and returns at once when nothing is.
    void iterate();
    /// Ends the connection for good: nothing is delivered any more, calls fail, and what is bound can go
    /// without waiting for the bus.
    void close();

    /// False when this tick has waited for the bus so long that calls fail until the next iteration.
    bool mayWait() const { return m_oWaitTime.mayWait(); }

private:
    friend class BusObject;

    void add(BusObject& a_oObject);
    void remove(BusObject& a_oObject) { m_lObjects.remove(&a_oObject); }
    /// False after a failure, which is logged once and ends the connection.
    bool attempt(const std::function<void()>& a_oOperation);
    void fail(const char* a_pError);
    void connect();
    void disconnect();
    void recover();
    void logOwners();

    const std::function<Clock::time_point()> m_oNow;
    const int m_iModule;
    WaitTime m_oWaitTime;
    std::list<BusObject*> m_lObjects; // the connection looks at them
    std::unique_ptr<BusConnection> m_pConnection;
    Clock::time_point m_oNextTry;
    bool m_bLossLogged = false;
    std::set<std::string> m_lFlooded;     // services, some of whose signals were lost in the last iteration
    std::map<std::string, bool> m_mOwned; // services with news about their owner in this iteration: has one?
    std::set<std::string> m_lGone;        // services that have left the bus, as logged
    bool m_bClosed = false;
};

} // namespace zel
