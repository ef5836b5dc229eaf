// Limits of the live-status tables: the questions that they ask kernel and bus, asked directly, and a burst
// of signals received by libdbus alone. Every failure ends the measurement.
#pragma once

#include "tools/message.h"
#include "zel/uniquefd.h"

#include <array>
#include <memory>
#include <string>

namespace bench {

/// Asks the kernel with one netlink socket and one buffer.
class Kernel
{
public:
    Kernel();

    void askLink(const std::string& a_sDevice);
    void readIPv6Addresses();
    /// Reads the list of tracked connections and splits each at its spaces. Returns their number.
    int splitConnections();

private:
    const zel::UniqueFd m_oSocket;
    std::array<char, 32768> m_aAnswer;
};

/// A connection to the bus of the network.
class PlainBus
{
public:
    PlainBus();

    /// Calls GetLinkStatusForDevice and waits for the answer.
    void askLinkStatus(const std::string& a_sDevice);
    /// Receives the signals of the service from now on.
    void listen(const std::string& a_sService);
    /// Receives so many signals of the name.
    void receive(const char* a_pSignal, int a_iCount);

private:
    struct Close
    {
        void operator()(DBusConnection* a_pConnection) const
        {
            dbus_connection_close(a_pConnection);
            dbus_connection_unref(a_pConnection);
        }
    };

    const std::unique_ptr<DBusConnection, Close> m_pConnection;
};

} // namespace bench
