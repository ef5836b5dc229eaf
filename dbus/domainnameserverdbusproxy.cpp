#include "dbus/domainnameserverdbusproxy.h"

#include "dbus/generated.h"
#include "dbus/remoteobject.h"

namespace zel {

class DomainNameServerDBusProxy::Remote : public com::kestrane::network::DomainNameServer_proxy,
                                          public RemoteObject
{
public:
    Remote(DBus::Connection& a_oConnection, DomainNameServerDBusProxy& a_oProxy)
        : RemoteObject(a_oConnection, "com.kestrane.network.DomainNameServer"),
          m_oProxy(a_oProxy)
    {
    }

private:
    void UpdateServer(const std::string& a_sFirst, const std::string& a_sSecond,
                      const std::vector<std::string>& a_lServers) override
    {
        m_oProxy.tell(&IDBusDomainNameServer::UpdateServer, a_sFirst, a_sSecond, a_lServers);
    }
    void RemoveServer(const std::string& a_sFirst, const std::string& a_sSecond,
                      const std::vector<std::string>& a_lServers) override
    {
        m_oProxy.tell(&IDBusDomainNameServer::RemoveServer, a_sFirst, a_sSecond, a_lServers);
    }

    DomainNameServerDBusProxy& m_oProxy;
};

DomainNameServerDBusProxy::DomainNameServerDBusProxy(SystemBus& a_oBus)
    : SignalProxy(a_oBus, [this](DBus::Connection& a_oConnection) {
          return std::make_unique<Remote>(a_oConnection, *this);
      })
{
}

} // namespace zel
