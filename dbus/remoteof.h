// What the remote objects of the wrappers share, and how a wrapper makes its own and calls it.
#pragma once

#include "dbus/busobject.h"
#include "dbus/generated.h"
#include "dbus/remoteobject.h"
#include "dbus/sendable.h"

#include <memory>
#include <string>

namespace zel {

/// A generated proxy made safe, with the wrapper that is to be told of its signals.
template<class Proxy, class Wrapper>
class RemoteOf : public Proxy, public RemoteObject
{
public:
    /// The service has the name of the interface. Throws std::runtime_error.
    RemoteOf(BusConnection& a_oConnection, Wrapper& a_oWrapper)
        : RemoteObject(a_oConnection, this->Proxy::name()),
          m_oWrapper(a_oWrapper)
    {
    }

protected:
    Wrapper& m_oWrapper;
};

/// Makes the wrapper's remote object with each connection.
template<class Remote, class Wrapper>
BusObject::Factory makerOf(Wrapper& a_oWrapper)
{
    return [&a_oWrapper](BusConnection& a_oConnection) {
        return std::make_unique<Remote>(a_oConnection, a_oWrapper);
    };
}

/// Calls a method of the remote object, up to WaitTime::c_oLongest.
template<class Remote, class Proxy, class Result, class... Parameters, class... Arguments>
CallResult callRemote(RemoteObject* a_pObject, Result& a_oResult, Result (Proxy::*a_pMethod)(Parameters...),
                      const Arguments&... a_oArguments)
{
    auto* pRemote = static_cast<Remote*>(a_pObject);
    if (pRemote == nullptr) {
        return {CallResult::EState::Unreachable, false, "there is no system bus"};
    }
    return pRemote->call([&] {
        (checkArgument(a_oArguments), ...);
        a_oResult = (pRemote->*a_pMethod)(a_oArguments...);
    });
}

} // namespace zel
