#include "dbus/remoteobject.h"

#include "dbus/objectpath.h"
#include "zel/log.h"

#include <cstring>
#include <utility>

namespace zel {

RemoteObject::RemoteObject(DBus::Connection& a_oConnection, const std::string& a_sService)
    : DBus::ObjectProxy(a_oConnection, objectPathOf(a_sService), a_sService.c_str()),
      m_iModule(ZEL_Sysloglevel_registerModul("SystemBus"))
{
    set_timeout(static_cast<int>(c_oCallCeiling.count()));
}

std::optional<std::string> RemoteObject::call(const std::function<void()>& a_oCall)
{
    using std::chrono::steady_clock;
    try {
        if (m_oUnanswered && (steady_clock::now() - *m_oUnanswered < c_oCallPause || !hasOwner())) {
            return service() + " does not answer";
        }
        m_oUnanswered.reset();
        a_oCall();
        return {};
    } catch (const DBus::Error& oError) {
        if (std::strcmp(oError.name(), DBUS_ERROR_NO_REPLY) == 0 ||
            std::strcmp(oError.name(), DBUS_ERROR_TIMEOUT) == 0) {
            m_oUnanswered = steady_clock::now();
        }
        return oError.message();
    }
}

/// Asks the bus, which may be slow as well. Throws DBus::Error.
bool RemoteObject::hasOwner()
{
    DBus::CallMessage oCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "NameHasOwner");
    DBus::MessageIter oArguments = oCall.writer();
    oArguments << service();
    const DBus::Message oReply = conn().send_blocking(oCall, get_timeout());
    DBus::MessageIter oResult = oReply.reader();
    bool bOwned = false;
    oResult >> bOwned;
    return bOwned;
}

bool RemoteObject::isSender(const DBus::Message& a_oMessage)
{
    const auto& oSignal = static_cast<const DBus::SignalMessage&>(a_oMessage);
    return oSignal.interface() != nullptr && oSignal.path() != nullptr && path() == oSignal.path() &&
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
                              service().c_str(), a_pMember, a_pError);
    }
}

} // namespace zel
