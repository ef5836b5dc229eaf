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

NetDeviceCheck::NetDeviceCheck(std::string a_sName, LinkObserver a_oOnAsked,
                               const net::AddressLists& a_oAddresses)
    : NetDevice(std::move(a_sName), a_oAddresses),
      m_oOnAsked(std::move(a_oOnAsked))
{
    takeSnapshot();
}

bool NetDeviceCheck::refresh(InterfaceStatusDBusProxy& a_oInterfaceStatus,
                             const net::AddressLists& a_oAddresses, systema::NameList& a_lChangedTables)
{
    if ((!m_bChanged && m_eLink == ELink::Known) || !a_oInterfaceStatus.mayWait()) { // the next update asks
        return true;
    }
    const bool bWasLinkUp = isLinkUp();
    const bool bAnswered = askLinkState(a_oInterfaceStatus);
    if (m_bChanged) {
        NetDevice::refresh(a_oAddresses);
        takeSnapshot();
    }
    if ((m_bChanged || isLinkUp() != bWasLinkUp) && !a_lChangedTables.hasName(c_pTable)) {
        a_lChangedTables.add(c_pTable);
    }
    m_bChanged = false;
    return bAnswered;
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

/// False when the service was asked and has not answered.
bool NetDeviceCheck::askLinkState(InterfaceStatusDBusProxy& a_oInterfaceStatus)
{
    bool bLinkUp = false;
    const auto oResult = a_oInterfaceStatus.GetLinkStatusForDevice(getName(), bLinkUp);
    if (!oResult.isAnswered() && !oResult.m_bAsked) {
        m_eLink = m_eLink == ELink::Known ? ELink::NotAsked : m_eLink;
        return true;
    }
    m_oOnAsked(getName(), oResult);
    m_bLinkUp = oResult.isDone() && bLinkUp;
    m_eLink = oResult.isAnswered() ? ELink::Known : ELink::NotAnswered;
    return oResult.isAnswered();
}

} // namespace zel
