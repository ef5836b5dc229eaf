#include "dbus/ipv4dbusproxy.h"

#include "dbus/generated.h"
#include "dbus/remoteobject.h"

namespace zel {

class IPv4DBusProxy::Remote : public com::kestrane::network::IPv4Address_proxy, public RemoteObject
{
public:
    Remote(DBus::Connection& a_oConnection, IPv4DBusProxy& a_oProxy)
        : RemoteObject(a_oConnection, "com.kestrane.network.IPv4Address"),
          m_oProxy(a_oProxy)
    {
    }

private:
    void NewIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress) override
    {
        m_oProxy.tell(&IDBusIPv4Address::NewIPv4Address, a_sDevice, a_sAddress);
    }
    void RemovedIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress) override
    {
        m_oProxy.tell(&IDBusIPv4Address::RemovedIPv4Address, a_sDevice, a_sAddress);
    }

    IPv4DBusProxy& m_oProxy;
};

IPv4DBusProxy::IPv4DBusProxy(SystemBus& a_oBus)
    : SignalProxy(a_oBus, [this](DBus::Connection& a_oConnection) {
          return std::make_unique<Remote>(a_oConnection, *this);
      })
{
}

} // namespace zel
