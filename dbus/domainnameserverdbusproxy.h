// Tells receivers of the DomainNameServer' signals of com.kestrane.network.DomainNameServer. Main thread
// only.
#pragma once

#include "dbus/idbusdomainnameserver.h"
#include "dbus/signalproxy.h"

namespace zel {

class DomainNameServerDBusProxy : public SignalProxy<IDBusDomainNameServer>
{
public:
    explicit DomainNameServerDBusProxy(SystemBus& a_oBus);

private:
    class Remote;
};

} // namespace zel
