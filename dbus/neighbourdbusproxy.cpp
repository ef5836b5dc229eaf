#include "dbus/neighbourdbusproxy.h"

#include "dbus/remoteof.h"

namespace zel {

class NeighbourDBusProxy::Remote
    : public RemoteOf<com::kestrane::network::IPv4Neighbour_proxy, NeighbourDBusProxy>
{
public:
    using RemoteOf::RemoteOf;

private:
    void NewIPv4Neighbour(const std::string& a_sFirst, const std::string& a_sSecond,
                          const std::string& a_sMacAddress, const std::uint32_t& a_iState) override
    {
        auto& lQueue = m_oWrapper.m_lQueue;
        if (lQueue.size() >= c_iMostQueued) {
            lQueue.pop_front();
        }
        lQueue.emplace_back(a_sFirst, a_sSecond, a_sMacAddress, a_iState, false, Neighbour::Clock::now());
    }
    void RemovedIPv4Neighbour(const std::string&, const std::string&, const std::string&,
                              const std::uint32_t&) override
    {
    }
};

NeighbourDBusProxy::NeighbourDBusProxy(SystemBus& a_oBus) : m_oObject(a_oBus, makerOf<Remote>(*this)) {}

} // namespace zel
