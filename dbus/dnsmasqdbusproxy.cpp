#include "dbus/dnsmasqdbusproxy.h"

#include "dbus/remoteof.h"

namespace zel {

class DnsMasqDBusProxy::Remote : public RemoteOf<DnsmasqProxy, DnsMasqDBusProxy>
{
public:
    using RemoteOf::RemoteOf;

private:
    void DhcpLeaseAdded(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                        const std::string& a_sHostName, const std::string& a_sVendor,
                        const std::uint32_t& a_iExpires) override
    {
        m_oWrapper.tell(&IDBusDnsMasq::DhcpLeaseAdded, a_sIpAddress, a_sMacAddress, a_sHostName, a_sVendor,
                        a_iExpires);
    }
    void DhcpLeaseDeleted(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                          const std::string& a_sHostName, const std::string& a_sVendor,
                          const std::uint32_t& a_iExpires) override
    {
        m_oWrapper.tell(&IDBusDnsMasq::DhcpLeaseDeleted, a_sIpAddress, a_sMacAddress, a_sHostName, a_sVendor,
                        a_iExpires);
    }
    void DhcpLeaseUpdated(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                          const std::string& a_sHostName, const std::string& a_sVendor,
                          const std::uint32_t& a_iExpires) override
    {
        m_oWrapper.tell(&IDBusDnsMasq::DhcpLeaseUpdated, a_sIpAddress, a_sMacAddress, a_sHostName, a_sVendor,
                        a_iExpires);
    }
    void DhcpLeaseAcked(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                        const std::string& a_sHostName, const std::string& a_sVendor,
                        const std::uint32_t& a_iExpires) override
    {
        m_oWrapper.tell(&IDBusDnsMasq::DhcpLeaseAcked, a_sIpAddress, a_sMacAddress, a_sHostName, a_sVendor,
                        a_iExpires);
    }
};

DnsMasqDBusProxy::DnsMasqDBusProxy(SystemBus& a_oBus) : SignalProxy(a_oBus, makerOf<Remote>(*this)) {}

CallResult DnsMasqDBusProxy::DumpCache(bool& a_bDone)
{
    return callRemote<Remote>(getRemote(), a_bDone, &Remote::DumpCache);
}

} // namespace zel
