// Keeps one remote object bound while the bus comes and goes.
//
// A member of the object's wrapper; the bus must outlive it. Main thread only.
#pragma once

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

    /// Makes the remote object with each new connection, at once when there is one.
    BusObject(SystemBus& a_oBus, Factory a_oFactory);
    ~BusObject();
    BusObject(const BusObject&) = delete;
    BusObject& operator=(const BusObject&) = delete;

    /// Null while there is no bus.
    RemoteObject* get() const { return m_pRemote.get(); }
    /// See SystemBus.
    bool mayWait() const { return m_oBus.mayWait(); }

    /// Called with each new connection from now on: signals may have been missed before it.
    void setOnBound(std::function<void()> a_oOnBound) { m_oOnBound = std::move(a_oOnBound); }

    /// Inside a catch block: logs that a receiver of a signal failed.
    static void logFailedReceiver();

private:
    friend class SystemBus;

    void bind(BusConnection& a_oConnection);
    void unbind();

    SystemBus& m_oBus;
    const Factory m_oFactory;
    std::function<void()> m_oOnBound;
    std::unique_ptr<RemoteObject> m_pRemote;
};

} // namespace zel
