// A connection of a network service to the bus of the test, through plain libdbus, so that it can also send
// what no service should.
#pragma once

#include "tools/message.h"

#include <chrono>
#include <cstdlib>

class Service
{
public:
    using Words = std::vector<std::string>;

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

    void disown(const char* a_pName) { dbus_bus_release_name(m_pConnection.get(), a_pName, nullptr); }

    /// Sends the signal of its service; with other types than its own when they are given.
    void emit(const std::string& a_sSignal, const Words& a_lWords, std::optional<std::string> a_oTypes = {})
    {
        zel::netsim::Message pSignal;
        if (zel::netsim::makeSignal(a_sSignal, a_oTypes, a_lWords, pSignal)) {
            std::abort();
        }
        dbus_connection_send(m_pConnection.get(), pSignal.get(), nullptr);
    }

    /// Returns when the bus has handed on all that was sent.
    void finish()
    {
        const zel::netsim::Message pCall(
            dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId"));
        const zel::netsim::Message pAnswer(
            dbus_connection_send_with_reply_and_block(m_pConnection.get(), pCall.get(), -1, nullptr));
        if (!pAnswer) {
            std::abort();
        }
    }

    /// Waits for a method call and answers true to it; gives up when none comes.
    void answer()
    {
        const auto oDeadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (std::chrono::steady_clock::now() < oDeadline) {
            const zel::netsim::Message pCall(dbus_connection_pop_message(m_pConnection.get()));
            if (!pCall) {
                dbus_connection_read_write(m_pConnection.get(), 100);
            } else if (dbus_message_get_type(pCall.get()) == DBUS_MESSAGE_TYPE_METHOD_CALL) {
                const zel::netsim::Message pAnswer(dbus_message_new_method_return(pCall.get()));
                const dbus_bool_t bTrue = true;
                dbus_message_append_args(pAnswer.get(), DBUS_TYPE_BOOLEAN, &bTrue, DBUS_TYPE_INVALID);
                dbus_connection_send(m_pConnection.get(), pAnswer.get(), nullptr);
                dbus_connection_flush(m_pConnection.get());
                return;
            }
        }
    }

private:
    struct Release
    {
        void operator()(DBusConnection* a_pConnection) const
        {
            dbus_connection_close(a_pConnection);
            dbus_connection_unref(a_pConnection);
        }
    };

    const std::unique_ptr<DBusConnection, Release> m_pConnection;
};
