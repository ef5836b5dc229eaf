// Keeps one remote object bound while the bus comes and goes.
//
// A member of the object's wrapper; the bus must outlive it. Main thread only.
#pragma once

#include "dbus/binding.h"
#include "dbus/systembus.h"

#include <functional>
#include <memory>
#include <utility>

namespace zel {

class BusConnection;
class RemoteObject;

class BusObject
{
public:
    using Factory = std::function<std::unique_ptr<RemoteObject>(BusConnection&)>;

    /// Most signals of one object that wait to be delivered. Further ones are lost; those of other objects
    /// are not.
    static constexpr unsigned c_iMostWaiting = 8192;

    /// Makes the remote object with each new connection, at once when there is one.
    BusObject(SystemBus& a_oBus, Factory a_oFactory);
    ~BusObject();
    BusObject(const BusObject&) = delete;
    BusObject& operator=(const BusObject&) = delete;

    /// Null while there is no bus.
    RemoteObject* get() const { return m_pRemote.get(); }
    /// See SystemBus.
    bool mayWait() const { return m_oBus.mayWait(); }

    /// Called from now on when signals may have been missed: with each new connection, when the service gets
    /// an owner, and when more signals came than may wait.
    void setOnMissed(std::function<void()> a_oOnMissed) { m_oOnMissed = std::move(a_oOnMissed); }

    /// Inside a catch block: logs that a receiver of a signal failed.
    static void logFailedReceiver();

private:
    friend class SystemBus;

    void bind(BusConnection& a_oConnection);
    void unbind();
    /// True when the signal is for this object and there is room for it.
    bool expects(const DBus::Message& a_oSignal);
    /// Delivers the signal to the remote object if it is for it.
    void deliver(const DBus::Message& a_oSignal);
    /// Reports signals that were lost since the last call as missed. True when there were any.
    bool recover(bool a_bNoneWaits);
    void onMissed() const;

    SystemBus& m_oBus;
    const Factory m_oFactory;
    std::function<void()> m_oOnMissed;
    std::unique_ptr<RemoteObject> m_pRemote;
    unsigned m_iWaiting = 0; // signals
    bool m_bLost = false;
};

} // namespace zel
