// One row of "StatusNetifWatch": a network device as it was when it was last marked as changed.
//
// Owned by zel::Interfaces. Main thread only. The packet counters alone are asked for again at every read.
#pragma once

#include "dbus/callresult.h"
#include "systema/lists.h"
#include "zel/netdevice.h"

#include <functional>
#include <string>

namespace zel {

class InterfaceStatusDBusProxy;

class NetDeviceCheck : public net::NetDevice
{
public:
    /// Called with the result of each query of a link.
    using LinkObserver = std::function<void(const std::string& a_sDevice, const CallResult& a_oResult)>;

    static constexpr const char* c_pTable = "StatusNetifWatch";

    /// Marked as changed; its link counts as down until the service has answered.
    NetDeviceCheck(std::string a_sName, LinkObserver a_oOnAsked, const net::AddressLists& a_oAddresses);

    void setId(unsigned a_iId) { m_iNumber = a_iId; }
    void setChanged() { m_bChanged = true; }
    /// For a device that is marked as changed, queries the link from the service and the rest from the
    /// kernel, adds the table to the changed ones, whether anything differs or not, and clears the mark.
    /// While the service has not answered, each call queries the link again, and adds the table when the link
    /// differs. False when the service was asked and has not answered.
    bool refresh(InterfaceStatusDBusProxy& a_oInterfaceStatus, const net::AddressLists& a_oAddresses,
                 systema::NameList& a_lChangedTables);
    /// Asks for the counters; those of a device that is down are 0.
    void refreshPacketStats();

    unsigned getId() const { return m_iNumber; }
    /// The device's state; while it is down without IPv4 addresses, MTU and counters, whatever it has of
    /// them.
    const net::NetDeviceState& getSnapshot() const { return m_oSnapshot; }
    /// What the service says, but never for a device that the kernel does not have.
    bool isLinkUp() const { return m_bLinkUp && m_oSnapshot.m_iIndex != 0; }
    /// Seconds since the device was seen going up, 0 while it is down.
    unsigned getOnlineTime() const;

private:
    enum class ELink
    {
        Known,
        NotAsked,   // since the device was marked
        NotAnswered // the service was asked in vain
    };

    void takeSnapshot();
    bool askLinkState(InterfaceStatusDBusProxy& a_oInterfaceStatus);

    unsigned m_iNumber = 0;
    LinkObserver m_oOnAsked;
    net::NetDeviceState m_oSnapshot;
    bool m_bLinkUp = false; // the last known state while NotAsked; down while NotAnswered
    ELink m_eLink = ELink::NotAsked;
    unsigned m_iUpSince = 0; // the system's uptime in seconds, 0 while down
    bool m_bChanged = true;
};

} // namespace zel
