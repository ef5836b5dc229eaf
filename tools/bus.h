// A connection to the system bus as a service has it, of this program's own. Nothing throws but
// std::bad_alloc; one thread.
#pragma once

#include "tools/message.h"

#include <dbus/dbus.h>

#include <functional>
#include <memory>
#include <string>

namespace zel::netsim {

class Bus
{
public:
    /// Answers a method call, or leaves it without an answer: the message to send, null for none.
    using Answer = std::function<Message(DBusMessage& a_oCall)>;

    /// Connects to the bus of the environment variable DBUS_SYSTEM_BUS_ADDRESS, or the system's own. After a
    /// failure nothing else may be called.
    Failure connect();
    /// Takes the name; fails when another process has it or the bus does not allow it.
    Failure own(const std::string& a_sName);
    /// Method calls go to the function from now on, during dispatch.
    void answerWith(Answer a_oAnswer);

    /// Sends the message so many times; waits while the bus is slower.
    void send(const Message& a_oMessage, unsigned a_iTimes = 1);
    /// Waits until the bus has taken all that was sent. False when it has gone.
    bool finish();

    /// Becomes readable when there is something to dispatch.
    int descriptor() const;
    /// Handles what has come. False when the bus has gone.
    bool dispatch();

private:
    struct Close
    {
        void operator()(DBusConnection* a_pConnection) const;
    };

    static DBusHandlerResult handle(DBusConnection* a_pConnection, DBusMessage* a_pMessage, void* a_pBus);

    Answer m_oAnswer;
    std::unique_ptr<DBusConnection, Close> m_pConnection;
};

} // namespace zel::netsim
