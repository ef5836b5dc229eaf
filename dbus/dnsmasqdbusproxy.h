// Forwards the D-Bus signals of dnsmasq to the registered receivers. Main thread only.
#pragma once

#include "dbus/callresult.h"
#include "dbus/idbusdnsmasq.h"
#include "dbus/signalproxy.h"

namespace zel {

class DnsMasqDBusProxy : public SignalProxy<IDBusDnsMasq>
{
public:
    explicit DnsMasqDBusProxy(SystemBus& a_oBus);

    /// Makes the forwarder write its cache; waits up to WaitTime::c_oLongest.
    CallResult DumpCache(bool& a_bDone);

private:
    class Remote;
};

} // namespace zel
