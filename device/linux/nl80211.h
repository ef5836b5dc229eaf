// The kernel's nl80211 interface: one socket, asked for one thing after the other.
//
// Owned by whoever asks; one thread. Without a radio in the kernel, or when it does not answer in time, there
// is nothing to tell. Nothing throws but std::bad_alloc.
#pragma once

#include "device/linux/netlink.h"
#include "device/linux/wlanmessages.h"

#include <memory>

namespace zel::device {

class Nl80211
{
public:
    Nl80211();

    /// By number.
    std::vector<Radio> getRadios();
    /// The interfaces that are access points, the first being access point 1; see sortAccessPoints.
    std::vector<WlanInterface> getAccessPoints();
    /// The networks that the interface's radio has seen lately; nothing when the kernel does not say.
    std::optional<Networks> getNetworks(std::uint32_t a_iInterface);
    /// Asks for a scan and does not wait for it. A radio may refuse while it is an access point.
    void startScan(std::uint32_t a_iInterface);

private:
    struct Release
    {
        void operator()(nl_sock* a_pSocket) const;
        void operator()(nl_msg* a_pMessage) const;
    };
    using Message = std::unique_ptr<nl_msg, Release>;

    Message message(std::uint8_t a_iCommand, int a_iFlags) const;
    bool ask(Message a_pQuestion, const Receiver& a_oReceiver);

    std::unique_ptr<nl_sock, Release> m_pSocket;
    int m_iFamily = -1;
};

} // namespace zel::device
