#include "dbus/interfacestatusdbusproxy.h"

#include "dbus/generated.h"
#include "dbus/remoteobject.h"

namespace zel {

class InterfaceStatusDBusProxy::Remote : public com::kestrane::network::InterfaceStatus_proxy,
                                         public RemoteObject
{
public:
    Remote(DBus::Connection& a_oConnection, InterfaceStatusDBusProxy& a_oProxy)
        : RemoteObject(a_oConnection, "com.kestrane.network.InterfaceStatus"),
          m_oProxy(a_oProxy)
    {
    }

private:
    void StatusChange(const std::string& a_sDevice, const bool& a_bUp) override
    {
        m_oProxy.tell(&IDBusInterfaceStatus::StatusChange, a_sDevice, a_bUp);
    }
    void LinkStatusChange(const std::string& a_sDevice, const bool& a_bLinkUp) override
    {
        m_oProxy.tell(&IDBusInterfaceStatus::LinkStatusChange, a_sDevice, a_bLinkUp);
    }

    InterfaceStatusDBusProxy& m_oProxy;
};

InterfaceStatusDBusProxy::InterfaceStatusDBusProxy(SystemBus& a_oBus)
    : SignalProxy(a_oBus, [this](DBus::Connection& a_oConnection) {
          return std::make_unique<Remote>(a_oConnection, *this);
      })
{
}

std::optional<std::string> InterfaceStatusDBusProxy::GetLinkStatusForDevice(const std::string& a_sDevice,
                                                                            bool& a_bLinkUp)
{
    auto* pRemote = static_cast<Remote*>(getRemote());
    return pRemote == nullptr
               ? "there is no system bus"
               : pRemote->call([&] { a_bLinkUp = pRemote->GetLinkStatusForDevice(a_sDevice); });
}

} // namespace zel
