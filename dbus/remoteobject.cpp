#include "dbus/remoteobject.h"

#include "zel/exception.h"
#include "zel/log.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace zel {

namespace {

/// "com.kestrane.network.IPv4Route" is at "/com/kestrane/network/IPv4Route".
std::string pathOf(const char* a_pService)
{
    std::string sPath = std::string("/") + a_pService;
    std::ranges::replace(sPath, '.', '/');
    return sPath;
}

} // namespace

RemoteObject::RemoteObject(DBus::Connection& a_oConnection, const char* a_pService)
    : DBus::ObjectProxy(a_oConnection, pathOf(a_pService), a_pService),
      m_iModule(ZEL_Sysloglevel_registerModul("SystemBus"))
{
    set_timeout(static_cast<int>(c_oCallCeiling.count()));
}

std::optional<std::string> RemoteObject::call(const std::function<void()>& a_oCall)
{
    const auto oNow = std::chrono::steady_clock::now();
    try {
        if (m_oUnanswered && (oNow - *m_oUnanswered < c_oCallPause || !conn().has_name(service().c_str()))) {
            return service() + " does not answer";
        }
        m_oUnanswered.reset();
        a_oCall();
        return {};
    } catch (const DBus::Error& oError) {
        if (std::strcmp(oError.name(), DBUS_ERROR_NO_REPLY) == 0 ||
            std::strcmp(oError.name(), DBUS_ERROR_TIMEOUT) == 0) {
            m_oUnanswered = oNow;
        }
        return oError.message();
    }
}

bool RemoteObject::handle_message(const DBus::Message& a_oMessage)
{
    if (a_oMessage.type() != DBUS_MESSAGE_TYPE_SIGNAL) {
        return false;
    }
    const auto& oSignal = static_cast<const DBus::SignalMessage&>(a_oMessage);
    if (oSignal.interface() == nullptr || oSignal.path() == nullptr || path() != oSignal.path()) {
        return false;
    }
    DBus::InterfaceProxy* pInterface = find_interface(oSignal.interface());
    if (pInterface == nullptr) {
        return false;
    }
    m_oUnanswered.reset(); // it lives
    try {
        return pInterface->dispatch_signal(oSignal);
    } catch (const DBus::Error& oError) {
        logRefused(oSignal.member(), (std::string(oError.name()) + ": " + oError.message()).c_str());
    } catch (...) {
        logRefused(oSignal.member(), error::describeException().c_str());
    }
    return true;
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
