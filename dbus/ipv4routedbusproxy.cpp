#include "dbus/ipv4routedbusproxy.h"

#include "dbus/generated.h"
#include "dbus/remoteobject.h"

namespace zel {

class IPv4RouteDBusProxy::Remote : public com::kestrane::network::IPv4Route_proxy, public RemoteObject
{
public:
    Remote(DBus::Connection& a_oConnection, IPv4RouteDBusProxy& a_oProxy)
        : RemoteObject(a_oConnection, "com.kestrane.network.IPv4Route"),
          m_oProxy(a_oProxy)
    {
    }

private:
    void NewIPv4Route(const std::string& a_sFirst, const std::uint8_t& a_iNumber,
                      const std::string& a_sSecond, const std::string& a_sThird, const std::string& a_sFourth,
                      const std::uint32_t& a_iLast) override
    {
        m_oProxy.tell(&IDBusIPv4Route::NewIPv4Route, a_sFirst, a_iNumber, a_sSecond, a_sThird, a_sFourth,
                      a_iLast);
    }
    void RemovedIPv4Route(const std::string& a_sFirst, const std::uint8_t& a_iNumber,
                          const std::string& a_sSecond, const std::string& a_sThird,
                          const std::string& a_sFourth, const std::uint32_t& a_iLast) override
    {
        m_oProxy.tell(&IDBusIPv4Route::RemovedIPv4Route, a_sFirst, a_iNumber, a_sSecond, a_sThird, a_sFourth,
                      a_iLast);
    }

    IPv4RouteDBusProxy& m_oProxy;
};

IPv4RouteDBusProxy::IPv4RouteDBusProxy(SystemBus& a_oBus)
    : SignalProxy(a_oBus, [this](DBus::Connection& a_oConnection) {
          return std::make_unique<Remote>(a_oConnection, *this);
      })
{
}

} // namespace zel
