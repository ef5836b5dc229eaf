// One connection to the system bus, on which nothing waits longer than WaitTime allows.
//
// Owned by SystemBus, which makes a new one for each try; the remote objects send through it and nowhere
// else. Main thread only. Failures throw: NoAnswer when nothing has come in time, DBus::Error for what the
// other side says, std::runtime_error for the rest.
#pragma once

#include "dbus/binding.h"
#include "dbus/buswatches.h"
#include "dbus/waittime.h"

#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

namespace zel {

/// The bus or a service has not answered in time.
struct NoAnswer : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

class BusConnection
{
public:
    using Clock = WaitTime::Clock;
    using Now = std::function<Clock::time_point()>;
    using IsAwaited = std::function<bool(const DBus::Message& a_oSignal)>;

    /// Connects to the bus of the environment variable DBUS_SYSTEM_BUS_ADDRESS, or the system's own: all in
    /// all within WaitTime::c_oLongest. Each awaited signal is kept. now() gives the clock's time.
    BusConnection(WaitTime& a_oWaitTime, Now a_oNow, IsAwaited a_oIsAwaited);
    ~BusConnection() { close(); }
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    Clock::time_point now() const { return m_oNow(); }
    /// False once the bus has gone or this side has closed it.
    bool isOpen() const { return m_oConnection->connected(); }
    /// From here on nothing is sent or awaited any more.
    void close();

    /// Sends a call and waits for its answer, WaitTime::c_oLongest at most. Nothing is sent when this tick
    /// has waited enough already.
    DBus::Message ask(DBus::CallMessage& a_oCall);
    /// Asks the bus whether the name has an owner. A bus that does not answer is given up: the connection
    /// closes.
    bool hasOwner(const std::string& a_sName);

    /// Starts, or ends, the delivery of the signals that the rule selects. Does not wait for the bus.
    void addMatch(const std::string& a_sRule);
    void removeMatch(const std::string& a_sRule);
    /// Waits for the bus to confirm the matches added since the last time, if any, or to go.
    void confirmMatches(Clock::time_point a_oDeadline = Clock::now() + WaitTime::c_oLongest);
    /// When connecting must be over.
    Clock::time_point deadline() const { return m_oDeadline; }

    /// Reads a burst of signals, until the bus pauses or so many wait.
    void read(std::size_t a_iEnough);
    /// The signals that have come and are not yet taken from the front.
    std::deque<DBus::Message>& signals() { return m_lSignals; }

private:
    bool take(const DBus::Message& a_oMessage);
    void takeReply(const DBus::Message& a_oReply);
    /// Returns the serial number, by which an answer is known. Checks the names.
    int send(DBus::CallMessage& a_oCall);
    int sendMatch(const char* a_pMethod, const std::string& a_sRule);
    DBus::Message exchange(DBus::CallMessage& a_oCall, Clock::time_point a_oDeadline);
    /// False when the condition does not hold by the deadline or the connection has gone.
    bool await(const std::function<bool()>& a_oCondition, Clock::time_point a_oDeadline);

    WaitTime& m_oWaitTime;
    const Clock::time_point m_oDeadline;
    const Now m_oNow;
    const IsAwaited m_oIsAwaited;
    BusWatches m_oWatches; // the connection needs them to its end
    DBus::MessageSlot m_oFilter;
    std::optional<DBus::Connection> m_oConnection;
    int m_iAsked = 0; // serial number of the call whose answer is awaited
    std::optional<DBus::Message> m_oReply;
    std::set<int> m_lUnconfirmed; // serial numbers of the calls that add matches
    std::optional<DBus::Message> m_oRefusal;
    std::deque<DBus::Message> m_lSignals;
};

} // namespace zel
