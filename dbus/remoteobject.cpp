#include "dbus/remoteobject.h"

#include "dbus/busconnection.h"
#include "dbus/objectpath.h"
#include "dbus/sendable.h"
#include "zel/log.h"

#include <string_view>
#include <utility>

namespace zel {

RemoteObject::RemoteObject(BusConnection& a_oConnection, std::string a_sService)
    : m_iModule(ZEL_Sysloglevel_registerModul("SystemBus")),
      m_oConnection(a_oConnection),
      m_sService(std::move(a_sService)),
      m_sPath(objectPathOf(m_sService))
{
    m_oConnection.addMatch(matchRuleFor(m_sService, m_sPath));
    m_oConnection.addMatch(ownerRuleFor(m_sService));
}

RemoteObject::~RemoteObject()
{
    try {
        if (m_oConnection.isOpen()) {
            m_oConnection.removeMatch(matchRuleFor(m_sService, m_sPath));
            m_oConnection.removeMatch(ownerRuleFor(m_sService));
        }
    } catch (...) { // the bus sends what nobody takes
    }
}

CallResult RemoteObject::call(const std::function<void()>& a_oCall)
{
    using EState = CallResult::EState;
    if (m_oUnanswered && m_oConnection.now() < m_oPauseEnd) {
        return *m_oUnanswered;
    }
    try {
        if (m_oUnanswered && !m_oConnection.hasOwner(m_sService)) {
            pause(EState::Unreachable, "nobody has the name " + m_sService);
            return *m_oUnanswered;
        }
        m_oUnanswered.reset();
        a_oCall();
        return {};
    } catch (const NoAnswer& oError) {
        return pause(m_oConnection.isOpen() ? EState::TimedOut : EState::Unreachable, oError.what());
    } catch (const DBus::Error& oError) {
        const std::string_view sName = oError.name();
        if (sName == DBUS_ERROR_NO_REPLY || sName == DBUS_ERROR_TIMEOUT) {
            return pause(EState::TimedOut, oError.message());
        }
        if (sName == DBUS_ERROR_SERVICE_UNKNOWN || sName == DBUS_ERROR_NAME_HAS_NO_OWNER) {
            return pause(EState::Unreachable, oError.message());
        }
        return {EState::Refused, true, oError.message()};
    } catch (const CannotBeSent& oError) {
        return {EState::Refused, true, oError.what()};
    } catch (const std::runtime_error& oError) {
        return {EState::Unreachable, false, oError.what()}; // nothing was sent
    }
}

/// Returns the result of a call that was not answered, and keeps it for the calls until the end of the pause.
CallResult RemoteObject::pause(CallResult::EState a_eState, std::string a_sError)
{
    m_oUnanswered = CallResult{a_eState, false, a_sError};
    m_oPauseEnd = m_oConnection.now() + c_oCallPause;
    return {a_eState, true, std::move(a_sError)};
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

bool RemoteObject::isConcernedBy(const DBus::Message& a_oMessage)
{
    const auto& oSignal = static_cast<const DBus::SignalMessage&>(a_oMessage);
    return (oSignal.interface() != nullptr && oSignal.path() != nullptr && m_sPath == oSignal.path() &&
            find_interface(oSignal.interface()) != nullptr) ||
           newOwner(a_oMessage).has_value();
}

std::optional<std::string> RemoteObject::newOwner(const DBus::Message& a_oMessage) const
{
    // Others can send the same, but not under the name of the bus.
    if (!a_oMessage.is_signal(DBUS_INTERFACE_DBUS, "NameOwnerChanged") || a_oMessage.sender() == nullptr ||
        std::string_view(a_oMessage.sender()) != DBUS_SERVICE_DBUS) {
        return {};
    }
    std::string sName;
    std::string sBefore;
    std::string sOwner;
    DBus::MessageIter oArguments = a_oMessage.reader();
    oArguments >> sName >> sBefore >> sOwner;
    return sName == m_sService ? std::optional(sOwner) : std::nullopt;
}

bool RemoteObject::deliver(const DBus::Message& a_oMessage)
{
    if (const auto oOwner = newOwner(a_oMessage)) {
        if (!oOwner->empty()) {
            endPause();
        }
        return !oOwner->empty();
    }
    const auto& oSignal = static_cast<const DBus::SignalMessage&>(a_oMessage);
    endPause(); // it lives
    try {
        find_interface(oSignal.interface())->dispatch_signal(oSignal);
    } catch (const DBus::Error& oError) {
        logRefused(oSignal.member(), (std::string(oError.name()) + ": " + oError.message()).c_str());
    }
    return false;
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
