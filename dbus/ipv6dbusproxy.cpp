#include "dbus/ipv6dbusproxy.h"

#include "dbus/generated.h"
#include "dbus/remoteobject.h"

namespace zel {

class IPv6DBusProxy::Remote : public com::kestrane::network::IPv6Address_proxy, public RemoteObject
{
public:
    Remote(DBus::Connection& a_oConnection, IPv6DBusProxy& a_oProxy)
        : RemoteObject(a_oConnection, "com.kestrane.network.IPv6Address"),
          m_oProxy(a_oProxy)
    {
    }

private:
    void NewIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                        const std::uint8_t& a_iNumber) override
    {
        m_oProxy.tell(&IDBusIPv6Address::NewIPv6Address, a_sDevice, a_sAddress, a_iNumber);
    }
    void RemovedIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                            const std::uint8_t& a_iNumber) override
    {
        m_oProxy.tell(&IDBusIPv6Address::RemovedIPv6Address, a_sDevice, a_sAddress, a_iNumber);
    }

    IPv6DBusProxy& m_oProxy;
};

IPv6DBusProxy::IPv6DBusProxy(SystemBus& a_oBus)
    : SignalProxy(a_oBus, [this](DBus::Connection& a_oConnection) {
          return std::make_unique<Remote>(a_oConnection, *this);
      })
{
}

} // namespace zel
