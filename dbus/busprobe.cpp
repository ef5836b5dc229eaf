#include "dbus/busprobe.h"

#include "dbus/binding.h"

#include <algorithm>
#include <csignal>
#include <memory>
#include <stdexcept>
#include <sys/time.h>

namespace zel {

namespace {

using Clock = std::chrono::steady_clock;

struct Release
{
    void operator()(DBusMessage* a_pMessage) const { dbus_message_unref(a_pMessage); }
    void operator()(DBusConnection* a_pConnection) const
    {
        dbus_connection_close(a_pConnection);
        dbus_connection_unref(a_pConnection);
    }
};

using Connection = std::unique_ptr<DBusConnection, Release>;
using Message = std::unique_ptr<DBusMessage, Release>;

constexpr std::chrono::microseconds c_oAgain{10000}; // had it come just before the system call

Connection open(const std::string& a_sAddress, Clock::time_point a_oDeadline)
{
    const Interruption oInterruption(a_oDeadline);
    DBusError oError = DBUS_ERROR_INIT;
    Connection pConnection(dbus_connection_open_private(a_sAddress.c_str(), &oError));
    if (!pConnection) {
        const std::string sError = dbus_error_is_set(&oError) ? oError.message : "out of memory";
        dbus_error_free(&oError);
        throw std::runtime_error(sError);
    }
    return pConnection;
}

/// Null when nothing, or nothing else, has come by the deadline.
Message receiveReply(DBusConnection* a_pConnection, dbus_uint32_t a_iSerial, Clock::time_point a_oDeadline)
{
    for (;;) {
        while (Message pMessage{dbus_connection_pop_message(a_pConnection)}) {
            if (dbus_message_get_reply_serial(pMessage.get()) == a_iSerial) {
                return pMessage;
            }
        }
        const auto oLeft = std::chrono::ceil<std::chrono::milliseconds>(a_oDeadline - Clock::now());
        if (oLeft.count() <= 0 ||
            !dbus_connection_read_write(a_pConnection, static_cast<int>(oLeft.count()))) {
            return nullptr;
        }
    }
}

} // namespace

Interruption::Interruption(Clock::time_point a_oFrom)
{
    struct sigaction oAction
    {
    };
    oAction.sa_handler = [](int) {}; // not restarted
    ::sigaction(SIGALRM, &oAction, nullptr);
    const auto oLeft = std::chrono::duration_cast<std::chrono::microseconds>(a_oFrom - Clock::now());
    itimerval oTimer{};
    oTimer.it_value.tv_usec = static_cast<suseconds_t>(std::clamp<long long>(oLeft.count(), 1, 999999));
    oTimer.it_interval.tv_usec = c_oAgain.count();
    ::setitimer(ITIMER_REAL, &oTimer, nullptr);
}

/// The handler stays, for a signal that is already on its way.
Interruption::~Interruption()
{
    const itimerval oNever{};
    ::setitimer(ITIMER_REAL, &oNever, nullptr);
}

void probeBus(const std::string& a_sAddress, Clock::time_point a_oDeadline)
{
    const Connection pConnection = open(a_sAddress, a_oDeadline);
    const Message pHello(
        dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "Hello"));
    dbus_uint32_t iSerial = 0;
    if (!pHello || !dbus_connection_send(pConnection.get(), pHello.get(), &iSerial)) {
        throw std::runtime_error("out of memory");
    }
    const Message pReply = receiveReply(pConnection.get(), iSerial, a_oDeadline);
    if (!pReply) {
        throw std::runtime_error("the bus does not answer");
    }
    if (dbus_message_get_type(pReply.get()) == DBUS_MESSAGE_TYPE_ERROR) {
        throw std::runtime_error(dbus_message_get_error_name(pReply.get()));
    }
}

} // namespace zel
