#include "dbus/ipv6dbusproxy.h"

#include "dbus/remoteof.h"

namespace zel {

class IPv6DBusProxy::Remote : public RemoteOf<com::kestrane::network::IPv6Address_proxy, IPv6DBusProxy>
{
public:
    using RemoteOf::RemoteOf;

private:
    void NewIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                        const std::uint8_t& a_iNumber) override
    {
        m_oWrapper.tell(&IDBusIPv6Address::NewIPv6Address, a_sDevice, a_sAddress, a_iNumber);
    }
    void RemovedIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                            const std::uint8_t& a_iNumber) override
    {
        m_oWrapper.tell(&IDBusIPv6Address::RemovedIPv6Address, a_sDevice, a_sAddress, a_iNumber);
    }
};

IPv6DBusProxy::IPv6DBusProxy(SystemBus& a_oBus) : SignalProxy(a_oBus, makerOf<Remote>(*this)) {}

} // namespace zel
