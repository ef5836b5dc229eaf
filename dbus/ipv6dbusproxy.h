// Tells receivers of the IPv6Address' signals of com.kestrane.network.IPv6Address. Main thread only.
#pragma once

#include "dbus/idbusipv6address.h"
#include "dbus/signalproxy.h"

namespace zel {

class IPv6DBusProxy : public SignalProxy<IDBusIPv6Address>
{
public:
    explicit IPv6DBusProxy(SystemBus& a_oBus);

private:
    class Remote;
};

} // namespace zel
