// What the wrappers of the remote objects share: who is to be told of the signals, and the object itself.
//
// A wrapper lives as long as the host of the status tables, whether there is a bus or not. Main thread only.
#pragma once

#include "dbus/busobject.h"

#include <functional>
#include <utility>
#include <vector>

namespace zel {

template<class Receiver>
class SignalProxy
{
public:
    /// From now on the receiver is told of every signal, in the order of registration. It must live as long
    /// as signals come.
    void registerPlugin(Receiver* a_pReceiver) { m_lReceivers.push_back(a_pReceiver); }

    /// See BusObject.
    void setOnMissed(std::function<void()> a_oOnMissed) { m_oObject.setOnMissed(std::move(a_oOnMissed)); }

    /// False when calls fail until the next update, because this one has waited for the bus long enough.
    bool mayWait() const { return m_oObject.mayWait(); }

protected:
    SignalProxy(SystemBus& a_oBus, BusObject::Factory a_oFactory) : m_oObject(a_oBus, std::move(a_oFactory))
    {
    }
    ~SignalProxy() = default;

    /// Null while there is no bus.
    RemoteObject* getRemote() const { return m_oObject.get(); }

    template<class... Parameters, class... Arguments>
    void tell(void (Receiver::*a_pOperation)(Parameters...), const Arguments&... a_oArguments) const
    {
        for (Receiver* pReceiver : m_lReceivers) {
            try {
                (pReceiver->*a_pOperation)(a_oArguments...);
            } catch (...) {
                BusObject::logFailedReceiver(); // the others are told all the same
            }
        }
    }

private:
    std::vector<Receiver*> m_lReceivers;
    BusObject m_oObject;
};

} // namespace zel
