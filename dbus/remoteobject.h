// A remote object as the D-Bus library knows it, made safe: signals are delivered outside of the library's C
// frames, which no exception may cross, and a service that does not answer is not waited for again and again.
//
// Base, beside its generated proxy, of the remote object of each wrapper; made anew with each connection.
// Service, interface and path have one name. Main thread only.
#pragma once

#include "dbus/binding.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace zel {

class RemoteObject : public DBus::ObjectProxy
{
public:
    /// Longest wait for the answer to a call.
    static constexpr std::chrono::milliseconds c_oCallCeiling{300};
    /// A service that did not answer is not called again for so long, unless it sends a signal.
    static constexpr std::chrono::seconds c_oCallPause{10};

    /// Connects the signals of the generated proxy, which must be a base before this one. Throws DBus::Error.
    RemoteObject(DBus::Connection& a_oConnection, const std::string& a_sService);

    /// Makes a blocking call. Nothing on success; else the error's text.
    std::optional<std::string> call(const std::function<void()>& a_oCall);

    /// True for a signal of this object's.
    bool isSender(const DBus::Message& a_oMessage);
    /// Tells of such a signal. A badly typed one is refused and logged.
    void deliver(const DBus::Message& a_oMessage);

private:
    /// The bus queues what comes and delivers it itself.
    bool handle_message(const DBus::Message&) override { return false; }
    bool hasOwner();
    void logRefused(const char* a_pMember, const char* a_pError);

    const int m_iModule;
    std::optional<std::chrono::steady_clock::time_point> m_oUnanswered; // when a call last timed out
    bool m_bRefusalLogged = false;
};

} // namespace zel
