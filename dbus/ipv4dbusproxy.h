// Tells receivers of the IPv4Address' signals of com.kestrane.network.IPv4Address. Main thread only.
#pragma once

#include "dbus/idbusipv4address.h"
#include "dbus/signalproxy.h"

namespace zel {

class IPv4DBusProxy : public SignalProxy<IDBusIPv4Address>
{
public:
    explicit IPv4DBusProxy(SystemBus& a_oBus);

private:
    class Remote;
};

} // namespace zel
