// Tells receivers of the IPv6Route' signals of com.kestrane.network.IPv6Route. Main thread only.
#pragma once

#include "dbus/idbusipv6route.h"
#include "dbus/signalproxy.h"

namespace zel {

class IPv6RouteDBusProxy : public SignalProxy<IDBusIPv6Route>
{
public:
    explicit IPv6RouteDBusProxy(SystemBus& a_oBus);

private:
    class Remote;
};

} // namespace zel
