// Tells receivers of the dnsmasq' signals of uk.org.thekelleys.dnsmasq. Main thread only.
#pragma once

#include "dbus/idbusdnsmasq.h"
#include "dbus/signalproxy.h"

namespace zel {

class DnsMasqDBusProxy : public SignalProxy<IDBusDnsMasq>
{
public:
    explicit DnsMasqDBusProxy(SystemBus& a_oBus);

private:
    class Remote;
};

} // namespace zel
