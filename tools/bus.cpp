#include "tools/bus.h"

namespace zel::netsim {

namespace {

/// What waits for the bus at most.
constexpr long c_iMostBytes = 1024 * 1024;

class Error
{
public:
    Error() { dbus_error_init(&m_oError); }
    ~Error() { dbus_error_free(&m_oError); }
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;

    DBusError* get() { return &m_oError; }
    /// Nothing while there is no error.
    Failure text() const { return dbus_error_is_set(&m_oError) ? Failure(m_oError.message) : Failure(); }

private:
    DBusError m_oError;
};

} // namespace

void Bus::Close::operator()(DBusConnection* a_pConnection) const
{
    dbus_connection_close(a_pConnection);
    dbus_connection_unref(a_pConnection);
}

Failure Bus::connect()
{
    Error oError;
    m_pConnection.reset(dbus_bus_get_private(DBUS_BUS_SYSTEM, oError.get()));
    if (m_pConnection) {
        dbus_connection_set_exit_on_disconnect(m_pConnection.get(), false);
    }
    return oError.text();
}

Failure Bus::own(const std::string& a_sName)
{
    Error oError;
    const int iResult = dbus_bus_request_name(m_pConnection.get(), a_sName.c_str(),
                                              DBUS_NAME_FLAG_DO_NOT_QUEUE, oError.get());
    return iResult == DBUS_REQUEST_NAME_REPLY_EXISTS ? a_sName + " has an owner already" : oError.text();
}

void Bus::answerWith(Answer a_oAnswer)
{
    m_oAnswer = std::move(a_oAnswer);
    dbus_connection_add_filter(m_pConnection.get(), &Bus::handle, this, nullptr);
}

DBusHandlerResult Bus::handle(DBusConnection* a_pConnection, DBusMessage* a_pMessage, void* a_pBus)
{
    if (dbus_message_get_type(a_pMessage) != DBUS_MESSAGE_TYPE_METHOD_CALL) {
        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    }
    const Message oAnswer = static_cast<const Bus*>(a_pBus)->m_oAnswer(*a_pMessage);
    if (oAnswer) {
        dbus_connection_send(a_pConnection, oAnswer.get(), nullptr);
    }
    return DBUS_HANDLER_RESULT_HANDLED;
}

void Bus::send(const Message& a_oMessage, unsigned a_iTimes)
{
    for (; a_iTimes > 0; --a_iTimes) {
        const Message oCopy(dbus_message_copy(a_oMessage.get())); // each needs a serial number of its own
        dbus_connection_send(m_pConnection.get(), oCopy.get(), nullptr);
        if (dbus_connection_get_outgoing_size(m_pConnection.get()) > c_iMostBytes) {
            dbus_connection_flush(m_pConnection.get());
        }
    }
}

bool Bus::finish()
{
    // The bus reads in order: when it answers this, it has read the rest.
    Error oError;
    dbus_bus_name_has_owner(m_pConnection.get(), DBUS_SERVICE_DBUS, oError.get());
    return !oError.text();
}

int Bus::descriptor() const
{
    int iDescriptor = -1;
    dbus_connection_get_unix_fd(m_pConnection.get(), &iDescriptor);
    return iDescriptor;
}

bool Bus::dispatch()
{
    bool bConnected = false;
    do {
        bConnected = dbus_connection_read_write(m_pConnection.get(), 0);
        while (dbus_connection_dispatch(m_pConnection.get()) == DBUS_DISPATCH_DATA_REMAINS) {
        }
        dbus_connection_flush(m_pConnection.get()); // which may read, too
    } while (dbus_connection_get_dispatch_status(m_pConnection.get()) == DBUS_DISPATCH_DATA_REMAINS);
    return bConnected;
}

} // namespace zel::netsim
