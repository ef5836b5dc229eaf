// Checks what goes onto the bus. libdbus regards a text that it cannot send as a fault of the program, and
// ends the process; the texts of tables, files and devices are nobody's fault.
//
// Every argument of a call passes checkArgument (callRemote), every message checkNames (BusConnection).
// What fails throws CannotBeSent and is not sent.
#pragma once

#include "dbus/binding.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace zel {

struct CannotBeSent : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/// Longest text that is sent: far more than any name of a device, far less than the bus admits.
constexpr std::size_t c_iMostSentBytes = 64 * 1024;

/// UTF-8 without NUL characters.
void checkArgument(const std::string& a_sText);
/// Numbers and flags need no check.
template<class Number>
requires std::is_arithmetic_v<Number>
void checkArgument(Number) {}

/// The names of a call: bus name, object path, interface and member.
void checkNames(const DBus::CallMessage& a_oCall);

/// The rule that selects the signals of the interface at the path. Both are checked: neither can hold a
/// quote.
std::string matchRuleFor(const std::string& a_sInterface, const std::string& a_sPath);
/// The rule that selects the bus's signals about the owner of the name.
std::string ownerRuleFor(const std::string& a_sName);

} // namespace zel
