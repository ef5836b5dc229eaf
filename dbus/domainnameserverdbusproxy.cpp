#include "dbus/domainnameserverdbusproxy.h"

#include "dbus/remoteof.h"

namespace zel {

class DomainNameServerDBusProxy::Remote
    : public RemoteOf<com::kestrane::network::DomainNameServer_proxy, DomainNameServerDBusProxy>
{
public:
    using RemoteOf::RemoteOf;

private:
    void UpdateServer(const std::string& a_sFirst, const std::string& a_sSecond,
                      const std::vector<std::string>& a_lServers) override
    {
        m_oWrapper.tell(&IDBusDomainNameServer::UpdateServer, a_sFirst, a_sSecond, a_lServers);
    }
    void RemoveServer(const std::string& a_sFirst, const std::string& a_sSecond,
                      const std::vector<std::string>& a_lServers) override
    {
        m_oWrapper.tell(&IDBusDomainNameServer::RemoveServer, a_sFirst, a_sSecond, a_lServers);
    }
};

DomainNameServerDBusProxy::DomainNameServerDBusProxy(SystemBus& a_oBus)
    : SignalProxy(a_oBus, makerOf<Remote>(*this))
{
}

} // namespace zel
