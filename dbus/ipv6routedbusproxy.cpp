#include "dbus/ipv6routedbusproxy.h"

#include "dbus/generated.h"
#include "dbus/remoteobject.h"

namespace zel {

class IPv6RouteDBusProxy::Remote : public com::kestrane::network::IPv6Route_proxy, public RemoteObject
{
public:
    Remote(DBus::Connection& a_oConnection, IPv6RouteDBusProxy& a_oProxy)
        : RemoteObject(a_oConnection, "com.kestrane.network.IPv6Route"),
          m_oProxy(a_oProxy)
    {
    }

private:
    void NewIPv6Route(const std::string& a_sFirst, const std::uint8_t& a_iNumber,
                      const std::string& a_sSecond, const std::string& a_sThird) override
    {
        m_oProxy.tell(&IDBusIPv6Route::NewIPv6Route, a_sFirst, a_iNumber, a_sSecond, a_sThird);
    }
    void RemovedIPv6Route(const std::string& a_sFirst, const std::uint8_t& a_iNumber,
                          const std::string& a_sSecond, const std::string& a_sThird) override
    {
        m_oProxy.tell(&IDBusIPv6Route::RemovedIPv6Route, a_sFirst, a_iNumber, a_sSecond, a_sThird);
    }

    IPv6RouteDBusProxy& m_oProxy;
};

IPv6RouteDBusProxy::IPv6RouteDBusProxy(SystemBus& a_oBus)
    : SignalProxy(a_oBus, [this](DBus::Connection& a_oConnection) {
          return std::make_unique<Remote>(a_oConnection, *this);
      })
{
}

} // namespace zel
