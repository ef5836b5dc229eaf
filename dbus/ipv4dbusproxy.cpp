#include "dbus/ipv4dbusproxy.h"

#include "dbus/remoteof.h"

namespace zel {

class IPv4DBusProxy::Remote : public RemoteOf<com::kestrane::network::IPv4Address_proxy, IPv4DBusProxy>
{
public:
    using RemoteOf::RemoteOf;

private:
    void NewIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress) override
    {
        m_oWrapper.tell(&IDBusIPv4Address::NewIPv4Address, a_sDevice, a_sAddress);
    }
    void RemovedIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress) override
    {
        m_oWrapper.tell(&IDBusIPv4Address::RemovedIPv4Address, a_sDevice, a_sAddress);
    }
};

IPv4DBusProxy::IPv4DBusProxy(SystemBus& a_oBus) : SignalProxy(a_oBus, makerOf<Remote>(*this)) {}

} // namespace zel
