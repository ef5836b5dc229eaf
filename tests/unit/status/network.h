// What a status table is built on: the wrappers of the network services on a bus that is not there, so that
// the test itself is the only one to tell of events, unless the test makes one.
#pragma once

#include "dbus/interfacestatusdbusproxy.h"
#include "dbus/ipv4dbusproxy.h"
#include "dbus/ipv6dbusproxy.h"
#include "dbus/systembus.h"
#include "systema/configdispatcher.h"
#include "tests/privatebus.h"

class Network
{
private:
    // First of all: the bus connects as soon as it is made.
    const int m_iNoBus = (tests::ProcessBus::use(), 0);

public:
    zel::SystemBus::Clock::time_point m_oNow;
    zel::SystemBus m_oBus{[this] { return m_oNow; }};
    systema::ConfigDispatcher m_oDispatcher;
    zel::InterfaceStatusDBusProxy m_oInterfaceStatus{m_oBus};
    zel::IPv4DBusProxy m_oIPv4{m_oBus};
    zel::IPv6DBusProxy m_oIPv6{m_oBus};
};
