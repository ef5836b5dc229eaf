// Tells receivers of the IPv4Route' signals of com.kestrane.network.IPv4Route. Main thread only.
#pragma once

#include "dbus/idbusipv4route.h"
#include "dbus/signalproxy.h"

namespace zel {

class IPv4RouteDBusProxy : public SignalProxy<IDBusIPv4Route>
{
public:
    explicit IPv4RouteDBusProxy(SystemBus& a_oBus);

private:
    class Remote;
};

} // namespace zel
