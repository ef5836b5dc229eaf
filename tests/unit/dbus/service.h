// A connection of a network service to the bus of the test, through plain libdbus, so that it can also send
// what no service should.
#pragma once

#include <dbus/dbus.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <variant>
#include <vector>

class Service
{
public:
    using Argument = std::variant<const char*, std::uint32_t, std::uint8_t, bool, double,
                                  std::vector<const char*>, std::vector<std::uint32_t>>;

    explicit Service(const std::string& a_sAddress)
        : m_pConnection(dbus_connection_open_private(a_sAddress.c_str(), nullptr))
    {
        if (m_pConnection == nullptr || !dbus_bus_register(m_pConnection.get(), nullptr)) {
            std::abort();
        }
        dbus_connection_set_exit_on_disconnect(m_pConnection.get(), false);
    }

    bool own(const char* a_pName)
    {
        return dbus_bus_request_name(m_pConnection.get(), a_pName, 0, nullptr) ==
               DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER;
    }

    /// Sends a signal of the service, from the path of its name.
    void emit(const std::string& a_sName, const std::string& a_sMember,
              const std::vector<Argument>& a_lArguments)
    {
        std::string sPath = "/" + a_sName;
        for (char& iByte : sPath) {
            iByte = iByte == '.' ? '/' : iByte;
        }
        const Message pSignal(dbus_message_new_signal(sPath.c_str(), a_sName.c_str(), a_sMember.c_str()));
        DBusMessageIter oIterator;
        dbus_message_iter_init_append(pSignal.get(), &oIterator);
        for (const auto& oArgument : a_lArguments) {
            std::visit([&](const auto& a_oValue) { append(oIterator, a_oValue); }, oArgument);
        }
        dbus_connection_send(m_pConnection.get(), pSignal.get(), nullptr);
    }

    /// Returns when the bus has handed on all that was sent.
    void finish()
    {
        const Message pCall(
            dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId"));
        const Message pAnswer(
            dbus_connection_send_with_reply_and_block(m_pConnection.get(), pCall.get(), -1, nullptr));
        if (!pAnswer) {
            std::abort();
        }
    }

    /// Waits for a method call and answers true to it.
    void answer()
    {
        for (;;) {
            const Message pCall(dbus_connection_pop_message(m_pConnection.get()));
            if (!pCall) {
                dbus_connection_read_write(m_pConnection.get(), -1);
            } else if (dbus_message_get_type(pCall.get()) == DBUS_MESSAGE_TYPE_METHOD_CALL) {
                const Message pAnswer(dbus_message_new_method_return(pCall.get()));
                DBusMessageIter oIterator;
                dbus_message_iter_init_append(pAnswer.get(), &oIterator);
                append(oIterator, true);
                dbus_connection_send(m_pConnection.get(), pAnswer.get(), nullptr);
                dbus_connection_flush(m_pConnection.get());
                return;
            }
        }
    }

private:
    struct Release
    {
        void operator()(DBusMessage* a_pMessage) const { dbus_message_unref(a_pMessage); }
        void operator()(DBusConnection* a_pConnection) const
        {
            dbus_connection_close(a_pConnection);
            dbus_connection_unref(a_pConnection);
        }
    };
    using Message = std::unique_ptr<DBusMessage, Release>;

    static constexpr int typeOf(const char*) { return DBUS_TYPE_STRING; }
    static constexpr int typeOf(std::uint32_t) { return DBUS_TYPE_UINT32; }
    static constexpr int typeOf(std::uint8_t) { return DBUS_TYPE_BYTE; }
    static constexpr int typeOf(double) { return DBUS_TYPE_DOUBLE; }

    static void append(DBusMessageIter& a_oIterator, bool a_bValue)
    {
        const dbus_bool_t bValue = a_bValue;
        dbus_message_iter_append_basic(&a_oIterator, DBUS_TYPE_BOOLEAN, &bValue);
    }
    template<class Value>
    static void append(DBusMessageIter& a_oIterator, const Value& a_oValue)
    {
        dbus_message_iter_append_basic(&a_oIterator, typeOf(a_oValue), &a_oValue);
    }
    template<class Value>
    static void append(DBusMessageIter& a_oIterator, const std::vector<Value>& a_lValues)
    {
        DBusMessageIter oArray;
        const char aType[] = {static_cast<char>(typeOf(Value())), '\0'};
        dbus_message_iter_open_container(&a_oIterator, DBUS_TYPE_ARRAY, aType, &oArray);
        for (const auto& oValue : a_lValues) {
            append(oArray, oValue);
        }
        dbus_message_iter_close_container(&a_oIterator, &oArray);
    }

    const std::unique_ptr<DBusConnection, Release> m_pConnection;
};
