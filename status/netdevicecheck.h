// One row of "StatusNetifWatch": a network device as it was when it was last marked as changed.
//
// Owned by zel::Interfaces. Main thread only. The packet counters alone are asked for again at every read.
#pragma once

#include "systema/lists.h"
#include "zel/netdevice.h"

#include <functional>
#include <string>

namespace zel {

class InterfaceStatusDBusProxy;

class NetDeviceCheck : public net::NetDevice
{
public:
    using ErrorLogger = std::function<void(const std::string& a_sDevice, const std::string& a_sError)>;

    static constexpr const char* c_pTable = "StatusNetifWatch";

    /// Marked as changed; its link counts as down until the first refresh.
    NetDeviceCheck(std::string a_sName, unsigned a_iId, ErrorLogger a_oLogError);

    void setChanged() { m_bChanged = true; }
    /// Does nothing to a device that is not marked as changed. Else asks the service once for the link and
    /// the kernel for the rest, adds the table to the changed ones, whether anything differs or not, and
    /// takes the mark away.
    void refresh(InterfaceStatusDBusProxy& a_oInterfaceStatus, systema::NameList& a_lChangedTables);
    /// Asks for the counters; those of a device that is down are 0.
    void refreshPacketStats();

    unsigned getId() const { return m_iId; }
    /// The device's state; while it is down without IPv4 addresses, MTU and counters, whatever it has of
    /// them.
    const net::NetDeviceState& getSnapshot() const { return m_oSnapshot; }
    bool isLinkUp() const { return m_bLinkUp; }
    /// Seconds since the device was seen going up, 0 while it is down.
    unsigned getOnlineTime() const;

private:
    void takeSnapshot();
    bool askLinkState(InterfaceStatusDBusProxy& a_oInterfaceStatus) const;

    unsigned m_iId;
    ErrorLogger m_oLogError;
    net::NetDeviceState m_oSnapshot;
    bool m_bLinkUp = false;
    unsigned m_iUpSince = 0; // the system's uptime in seconds, 0 while down
    bool m_bChanged = true;
};

} // namespace zel
