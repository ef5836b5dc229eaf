// A remote object as its generated proxy needs it, made safe: signals are delivered outside of the library's
// C frames, which no exception may cross, nothing waits without a limit, and a service that does not answer
// is not waited for again and again.
//
// Base, beside its generated proxy, of the remote object of each wrapper; made anew with each connection. In
// place of the binding's own, which waits 25 s for the bus at its birth and its end. Service, interface and
// path have one name. Main thread only.
#pragma once

#include "dbus/binding.h"
#include "dbus/callresult.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace zel {

class BusConnection;

class RemoteObject : public virtual DBus::ProxyBase
{
public:
    /// A service that did not answer, or that is not there, is not called again for so long, unless it sends
    /// a signal or gets an owner.
    static constexpr std::chrono::seconds c_oCallPause{10};

    /// Lets the signals of the service come, and those of the bus about its owner. Throws std::runtime_error.
    RemoteObject(BusConnection& a_oConnection, std::string a_sService);
    ~RemoteObject() override;

    /// Makes a blocking call, which waits up to WaitTime::c_oLongest.
    CallResult call(const std::function<void()>& a_oCall);

    const std::string& getService() const { return m_sService; }
    /// True for a signal of this object's, or about the owner of its service.
    bool isConcernedBy(const DBus::Message& a_oMessage);
    /// nullopt when the signal is not about the owner of the service; else the new owner, empty for none.
    std::optional<std::string> newOwner(const DBus::Message& a_oMessage) const;
    /// Delivers such a signal. A badly typed one is refused and logged. True when it says that the service
    /// has a new owner.
    bool deliver(const DBus::Message& a_oMessage);
    /// Lets the next call reach the service, though the last one was not answered.
    void endPause() { m_oUnanswered.reset(); }

private:
    const DBus::ObjectProxy* object() const override { return nullptr; } // nobody asks
    DBus::Message _invoke_method(DBus::CallMessage& a_oCall) override;
    bool _invoke_method_noreply(DBus::CallMessage& a_oCall) override;
    CallResult pause(CallResult::EState a_eState, std::string a_sError);
    void logRefused(const char* a_pMember, const char* a_pError);

    const int m_iModule;
    BusConnection& m_oConnection;
    const std::string m_sService;
    const std::string m_sPath;
    std::optional<CallResult> m_oUnanswered; // the last call, when it was not answered
    std::chrono::steady_clock::time_point m_oPauseEnd;
    bool m_bRefusalLogged = false;
};

} // namespace zel
