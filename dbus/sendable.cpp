#include "dbus/sendable.h"

namespace zel {

namespace {

using Validator = dbus_bool_t (*)(const char* a_pText, DBusError* a_pError);

void check(Validator a_pValidator, const char* a_pText, const char* a_pWhat)
{
    if (a_pText == nullptr || !a_pValidator(a_pText, nullptr)) {
        throw CannotBeSent(std::string(a_pWhat) + " is not valid on the bus");
    }
}

} // namespace

void checkArgument(const std::string& a_sText)
{
    if (a_sText.size() > c_iMostSentBytes) {
        throw CannotBeSent("a text is too long for the bus");
    }
    if (a_sText.find('\0') != std::string::npos || !dbus_validate_utf8(a_sText.c_str(), nullptr)) {
        throw CannotBeSent("a text is not valid UTF-8 and cannot be sent");
    }
}

void checkNames(const DBus::CallMessage& a_oCall)
{
    check(&dbus_validate_bus_name, a_oCall.destination(), "the name of a service");
    check(&dbus_validate_path, a_oCall.path(), "an object path");
    check(&dbus_validate_interface, a_oCall.interface(), "the name of an interface");
    check(&dbus_validate_member, a_oCall.member(), "the name of a method");
}

std::string matchRuleFor(const std::string& a_sInterface, const std::string& a_sPath)
{
    check(&dbus_validate_interface, a_sInterface.c_str(), "the name of an interface");
    check(&dbus_validate_path, a_sPath.c_str(), "an object path");
    return "type='signal',interface='" + a_sInterface + "',path='" + a_sPath + "'";
}

std::string ownerRuleFor(const std::string& a_sName)
{
    check(&dbus_validate_bus_name, a_sName.c_str(), "the name of a service");
    return "type='signal',sender='" DBUS_SERVICE_DBUS "',interface='" DBUS_INTERFACE_DBUS
           "',member='NameOwnerChanged',arg0='" +
           a_sName + "'";
}

} // namespace zel
