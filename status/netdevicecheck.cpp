#include "status/netdevicecheck.h"

#include "dbus/interfacestatusdbusproxy.h"

#include <sys/sysinfo.h>
#include <utility>

namespace zel {

namespace {

unsigned uptime()
{
    struct sysinfo oInfo
    {
    };
    ::sysinfo(&oInfo);
    return static_cast<unsigned>(oInfo.uptime);
}

} // namespace

NetDeviceCheck::NetDeviceCheck(std::string a_sName, unsigned a_iId, ErrorLogger a_oLogError)
    : NetDevice(std::move(a_sName)),
      m_iId(a_iId),
      m_oLogError(std::move(a_oLogError))
{
    takeSnapshot();
}

void NetDeviceCheck::refresh(InterfaceStatusDBusProxy& a_oInterfaceStatus,
                             systema::NameList& a_lChangedTables)
{
    if (!m_bChanged || !a_oInterfaceStatus.mayWait()) { // the next update asks
        return;
    }
    m_bLinkUp = askLinkState(a_oInterfaceStatus);
    NetDevice::refresh();
    takeSnapshot();
    if (!a_lChangedTables.hasName(c_pTable)) {
        a_lChangedTables.add(c_pTable);
    }
    m_bChanged = false;
}

void NetDeviceCheck::refreshPacketStats()
{
    if (m_oSnapshot.m_bUp) {
        refreshStatistics();
        m_oSnapshot.m_oCounters = getState().m_oCounters;
    }
}

unsigned NetDeviceCheck::getOnlineTime() const
{
    return m_iUpSince == 0 ? 0 : uptime() - m_iUpSince;
}

void NetDeviceCheck::takeSnapshot()
{
    const bool bWasUp = std::exchange(m_oSnapshot, getState()).m_bUp;
    if (m_oSnapshot.m_bUp) {
        m_iUpSince = bWasUp ? m_iUpSince : uptime();
    } else {
        m_iUpSince = 0;
        m_oSnapshot.m_sAddr = m_oSnapshot.m_sBroadAddr = net::c_pNoAddress;
        m_oSnapshot.m_sDstAddr = m_oSnapshot.m_sNetmask = net::c_pNoAddress;
        m_oSnapshot.m_iMTU = 0;
        m_oSnapshot.m_oCounters = {};
    }
}

bool NetDeviceCheck::askLinkState(InterfaceStatusDBusProxy& a_oInterfaceStatus) const
{
    bool bLinkUp = false;
    if (const auto oError = a_oInterfaceStatus.GetLinkStatusForDevice(getName(), bLinkUp)) {
        m_oLogError(getName(), *oError);
        return false;
    }
    return bLinkUp;
}

} // namespace zel
