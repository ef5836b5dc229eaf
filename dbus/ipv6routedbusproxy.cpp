#include "dbus/ipv6routedbusproxy.h"

#include "dbus/remoteof.h"

namespace zel {

class IPv6RouteDBusProxy::Remote
    : public RemoteOf<com::kestrane::network::IPv6Route_proxy, IPv6RouteDBusProxy>
{
public:
    using RemoteOf::RemoteOf;

private:
    void NewIPv6Route(const std::string& a_sFirst, const std::uint8_t& a_iNumber,
                      const std::string& a_sSecond, const std::string& a_sThird) override
    {
        m_oWrapper.tell(&IDBusIPv6Route::NewIPv6Route, a_sFirst, a_iNumber, a_sSecond, a_sThird);
    }
    void RemovedIPv6Route(const std::string& a_sFirst, const std::uint8_t& a_iNumber,
                          const std::string& a_sSecond, const std::string& a_sThird) override
    {
        m_oWrapper.tell(&IDBusIPv6Route::RemovedIPv6Route, a_sFirst, a_iNumber, a_sSecond, a_sThird);
    }
};

IPv6RouteDBusProxy::IPv6RouteDBusProxy(SystemBus& a_oBus) : SignalProxy(a_oBus, makerOf<Remote>(*this)) {}

} // namespace zel
