#include "dbus/ipv4routedbusproxy.h"

#include "dbus/remoteof.h"

namespace zel {

class IPv4RouteDBusProxy::Remote
    : public RemoteOf<com::kestrane::network::IPv4Route_proxy, IPv4RouteDBusProxy>
{
public:
    using RemoteOf::RemoteOf;

private:
    void NewIPv4Route(const std::string& a_sFirst, const std::uint8_t& a_iNumber,
                      const std::string& a_sSecond, const std::string& a_sThird, const std::string& a_sFourth,
                      const std::uint32_t& a_iLast) override
    {
        m_oWrapper.tell(&IDBusIPv4Route::NewIPv4Route, a_sFirst, a_iNumber, a_sSecond, a_sThird, a_sFourth,
                        a_iLast);
    }
    void RemovedIPv4Route(const std::string& a_sFirst, const std::uint8_t& a_iNumber,
                          const std::string& a_sSecond, const std::string& a_sThird,
                          const std::string& a_sFourth, const std::uint32_t& a_iLast) override
    {
        m_oWrapper.tell(&IDBusIPv4Route::RemovedIPv4Route, a_sFirst, a_iNumber, a_sSecond, a_sThird,
                        a_sFourth, a_iLast);
    }
};

IPv4RouteDBusProxy::IPv4RouteDBusProxy(SystemBus& a_oBus) : SignalProxy(a_oBus, makerOf<Remote>(*this)) {}

} // namespace zel
