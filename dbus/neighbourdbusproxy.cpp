#include "dbus/neighbourdbusproxy.h"

#include "dbus/generated.h"
#include "dbus/remoteobject.h"

namespace zel {

class NeighbourDBusProxy::Remote : public com::kestrane::network::IPv4Neighbour_proxy, public RemoteObject
{
public:
    Remote(DBus::Connection& a_oConnection, std::deque<Neighbour>& a_lQueue)
        : RemoteObject(a_oConnection, "com.kestrane.network.IPv4Neighbour"),
          m_lQueue(a_lQueue)
    {
    }

private:
    void NewIPv4Neighbour(const std::string& a_sFirst, const std::string& a_sSecond,
                          const std::string& a_sMacAddress, const std::uint32_t& a_iState) override
    {
        if (m_lQueue.size() >= c_iMostQueued) {
            m_lQueue.pop_front();
        }
        m_lQueue.emplace_back(a_sFirst, a_sSecond, a_sMacAddress, a_iState, false, Neighbour::Clock::now());
    }
    void RemovedIPv4Neighbour(const std::string&, const std::string&, const std::string&,
                              const std::uint32_t&) override
    {
    }

    std::deque<Neighbour>& m_lQueue;
};

NeighbourDBusProxy::NeighbourDBusProxy(SystemBus& a_oBus)
    : m_oObject(a_oBus, [this](DBus::Connection& a_oConnection) {
          return std::make_unique<Remote>(a_oConnection, m_lQueue);
      })
{
}

} // namespace zel
