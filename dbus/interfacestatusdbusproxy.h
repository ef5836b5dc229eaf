// Tells receivers of the InterfaceStatus' signals of com.kestrane.network.InterfaceStatus. Main thread only.
#pragma once

#include "dbus/callresult.h"
#include "dbus/idbusinterfacestatus.h"
#include "dbus/signalproxy.h"

#include <string>

namespace zel {

class InterfaceStatusDBusProxy : public SignalProxy<IDBusInterfaceStatus>
{
public:
    explicit InterfaceStatusDBusProxy(SystemBus& a_oBus);

    /// Asks whether the device has link; waits up to WaitTime::c_oLongest.
    CallResult GetLinkStatusForDevice(const std::string& a_sDevice, bool& a_bLinkUp);

private:
    class Remote;
};

} // namespace zel
