// Messages of the bus, built from words of a command line. Nothing throws but std::bad_alloc.
#pragma once

#include <dbus/dbus.h>

#include <memory>
#include <optional>
#include <span>
#include <string>

namespace zel::netsim {

/// What went wrong, for a person to read; nothing on success.
using Failure = std::optional<std::string>;

struct Unreference
{
    void operator()(DBusMessage* a_pMessage) const { dbus_message_unref(a_pMessage); }
};
using Message = std::unique_ptr<DBusMessage, Unreference>;

using Words = std::span<const std::string>;

/// Makes the signal of the name with one word for each type: a number for y, i, u and d, true or false for b,
/// text for s; words separated by commas for an array of one of these. The types are the signal's own when
/// none are given.
Failure makeSignal(const std::string& a_sName, const std::optional<std::string>& a_oTypes, Words a_lArguments,
                   Message& a_oMessage);

} // namespace zel::netsim
