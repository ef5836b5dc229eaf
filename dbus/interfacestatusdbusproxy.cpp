#include "dbus/interfacestatusdbusproxy.h"

#include "dbus/remoteof.h"

namespace zel {

class InterfaceStatusDBusProxy::Remote
    : public RemoteOf<com::kestrane::network::InterfaceStatus_proxy, InterfaceStatusDBusProxy>
{
public:
    using RemoteOf::RemoteOf;

private:
    void StatusChange(const std::string& a_sDevice, const bool& a_bUp) override
    {
        m_oWrapper.tell(&IDBusInterfaceStatus::StatusChange, a_sDevice, a_bUp);
    }
    void LinkStatusChange(const std::string& a_sDevice, const bool& a_bLinkUp) override
    {
        m_oWrapper.tell(&IDBusInterfaceStatus::LinkStatusChange, a_sDevice, a_bLinkUp);
    }
};

InterfaceStatusDBusProxy::InterfaceStatusDBusProxy(SystemBus& a_oBus)
    : SignalProxy(a_oBus, makerOf<Remote>(*this))
{
}

CallResult InterfaceStatusDBusProxy::GetLinkStatusForDevice(const std::string& a_sDevice, bool& a_bLinkUp)
{
    return callRemote<Remote>(getRemote(), a_bLinkUp, &Remote::GetLinkStatusForDevice, a_sDevice);
}

} // namespace zel
