#include "dbus/dnsmasqdbusproxy.h"

#include "dbus/generated.h"
#include "dbus/remoteobject.h"

namespace zel {

class DnsMasqDBusProxy::Remote : public DnsmasqProxy, public RemoteObject
{
public:
    Remote(DBus::Connection& a_oConnection, DnsMasqDBusProxy& a_oProxy)
        : RemoteObject(a_oConnection, "uk.org.thekelleys.dnsmasq"),
          m_oProxy(a_oProxy)
    {
    }

private:
    void DhcpLeaseAdded(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                        const std::string& a_sHostName, const std::string& a_sVendor,
                        const std::uint32_t& a_iExpires) override
    {
        m_oProxy.tell(&IDBusDnsMasq::DhcpLeaseAdded, a_sIpAddress, a_sMacAddress, a_sHostName, a_sVendor,
                      a_iExpires);
    }
    void DhcpLeaseDeleted(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                          const std::string& a_sHostName, const std::string& a_sVendor,
                          const std::uint32_t& a_iExpires) override
    {
        m_oProxy.tell(&IDBusDnsMasq::DhcpLeaseDeleted, a_sIpAddress, a_sMacAddress, a_sHostName, a_sVendor,
                      a_iExpires);
    }
    void DhcpLeaseUpdated(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                          const std::string& a_sHostName, const std::string& a_sVendor,
                          const std::uint32_t& a_iExpires) override
    {
        m_oProxy.tell(&IDBusDnsMasq::DhcpLeaseUpdated, a_sIpAddress, a_sMacAddress, a_sHostName, a_sVendor,
                      a_iExpires);
    }
    void DhcpLeaseAcked(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                        const std::string& a_sHostName, const std::string& a_sVendor,
                        const std::uint32_t& a_iExpires) override
    {
        m_oProxy.tell(&IDBusDnsMasq::DhcpLeaseAcked, a_sIpAddress, a_sMacAddress, a_sHostName, a_sVendor,
                      a_iExpires);
    }

    DnsMasqDBusProxy& m_oProxy;
};

DnsMasqDBusProxy::DnsMasqDBusProxy(SystemBus& a_oBus)
    : SignalProxy(a_oBus, [this](DBus::Connection& a_oConnection) {
          return std::make_unique<Remote>(a_oConnection, *this);
      })
{
}

std::optional<std::string> DnsMasqDBusProxy::DumpCache(bool& a_bDone)
{
    auto* pRemote = static_cast<Remote*>(getRemote());
    return pRemote == nullptr ? "there is no system bus"
                              : pRemote->call([&] { a_bDone = pRemote->DumpCache(); });
}

} // namespace zel
