#include "dbus/remoteobject.h"

#include "dbus/busconnection.h"
#include "dbus/objectpath.h"
#include "zel/log.h"

#include <cstring>
#include <utility>

namespace zel {

RemoteObject::RemoteObject(BusConnection& a_oConnection, std::string a_sService)
    : m_iModule(ZEL_Sysloglevel_registerModul("SystemBus")),
      m_oConnection(a_oConnection),
      m_sService(std::move(a_sService)),
      m_sPath(objectPathOf(m_sService))
{
    m_oConnection.addMatch(m_sService, m_sPath);
}

RemoteObject::~RemoteObject()
{
    try {
        if (m_oConnection.isOpen()) {
            m_oConnection.removeMatch(m_sService, m_sPath);
        }
    } catch (...) { // the bus sends what nobody takes
    }
}

std::optional<std::string> RemoteObject::call(const std::function<void()>& a_oCall)
{
    using std::chrono::steady_clock;
    try {
        if (m_oUnanswered &&
            (steady_clock::now() - *m_oUnanswered < c_oCallPause || !m_oConnection.hasOwner(m_sService))) {
            return m_sService + " does not answer";
        }
        m_oUnanswered.reset();
        a_oCall();
        return {};
    } catch (const NoAnswer& oError) {
        m_oUnanswered = steady_clock::now();
        return oError.what();
    } catch (const DBus::Error& oError) {
        if (std::strcmp(oError.name(), DBUS_ERROR_NO_REPLY) == 0 ||
            std::strcmp(oError.name(), DBUS_ERROR_TIMEOUT) == 0) {
            m_oUnanswered = steady_clock::now();
        }
        return oError.message();
    } catch (const std::runtime_error& oError) {
        return oError.what(); // nothing was sent
    }
}

DBus::Message RemoteObject::_invoke_method(DBus::CallMessage& a_oCall)
{
    a_oCall.path(m_sPath.c_str());
    a_oCall.destination(m_sService.c_str());
    return m_oConnection.ask(a_oCall);
}

/// No interface has a method that is not answered.
bool RemoteObject::_invoke_method_noreply(DBus::CallMessage&)
{
    return false;
}

bool RemoteObject::isSender(const DBus::Message& a_oMessage)
{
    const auto& oSignal = static_cast<const DBus::SignalMessage&>(a_oMessage);
    return oSignal.interface() != nullptr && oSignal.path() != nullptr && m_sPath == oSignal.path() &&
           find_interface(oSignal.interface()) != nullptr;
}

void RemoteObject::deliver(const DBus::Message& a_oMessage)
{
    const auto& oSignal = static_cast<const DBus::SignalMessage&>(a_oMessage);
    m_oUnanswered.reset(); // it lives
    try {
        find_interface(oSignal.interface())->dispatch_signal(oSignal);
    } catch (const DBus::Error& oError) {
        logRefused(oSignal.member(), (std::string(oError.name()) + ": " + oError.message()).c_str());
    }
}

void RemoteObject::logRefused(const char* a_pMember, const char* a_pError)
{
    // Once, so that a service of another version cannot fill the log.
    if (!std::exchange(m_bRefusalLogged, true)) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Signals of %s are refused, the first was %s: %s",
                              m_sService.c_str(), a_pMember, a_pError);
    }
}

} // namespace zel
