#include "device/linux/nl80211.h"

#include <algorithm>
#include <linux/nl80211.h>
#include <netlink/errno.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/socket.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace zel::device {

namespace {

constexpr timeval c_oLongestWait{1, 0};

/// Hands the attributes of a message on. An exception may not pass the library.
int tell(nl_msg* a_pMessage, void* a_pReceiver) noexcept
{
    const auto* pHead = static_cast<const genlmsghdr*>(nlmsg_data(nlmsg_hdr(a_pMessage)));
    const auto* pAttributes = reinterpret_cast<const unsigned char*>(genlmsg_attrdata(pHead, 0));
    (*static_cast<std::function<void(Bytes)>*>(a_pReceiver))(
        {pAttributes, static_cast<std::size_t>(std::max(genlmsg_attrlen(pHead, 0), 0))});
    return NL_OK;
}

} // namespace

void Nl80211::Release::operator()(nl_sock* a_pSocket) const
{
    nl_socket_free(a_pSocket);
}

void Nl80211::Release::operator()(nl_msg* a_pMessage) const
{
    nlmsg_free(a_pMessage);
}

Nl80211::Nl80211() : m_pSocket(nl_socket_alloc())
{
    if (m_pSocket && genl_connect(m_pSocket.get()) == 0) {
        ::setsockopt(nl_socket_get_fd(m_pSocket.get()), SOL_SOCKET, SO_RCVTIMEO, &c_oLongestWait,
                     sizeof(c_oLongestWait));
        m_iFamily = genl_ctrl_resolve(m_pSocket.get(), NL80211_GENL_NAME);
    }
}

std::vector<Radio> Nl80211::getRadios()
{
    Message pQuestion = message(NL80211_CMD_GET_WIPHY, NLM_F_DUMP);
    // Without, what is newer than 802.11ac is left out.
    nla_put_flag(pQuestion.get(), NL80211_ATTR_SPLIT_WIPHY_DUMP);
    std::vector<Radio> lRadios;
    ask(std::move(pQuestion), [&](Bytes a_lAttributes) {
        const auto oPart = parseRadio(a_lAttributes);
        if (!oPart) {
            return;
        }
        auto it = std::ranges::lower_bound(lRadios, oPart->m_iNumber, {}, &Radio::m_iNumber);
        if (it == lRadios.end() || it->m_iNumber != oPart->m_iNumber) {
            it = lRadios.insert(it, Radio{oPart->m_iNumber});
        }
        std::ranges::transform(it->m_aModes, oPart->m_aModes, it->m_aModes.begin(), std::bit_or());
    });
    return lRadios;
}

std::vector<WlanInterface> Nl80211::getAccessPoints()
{
    std::vector<WlanInterface> lInterfaces;
    ask(message(NL80211_CMD_GET_INTERFACE, NLM_F_DUMP), [&](Bytes a_lAttributes) {
        if (auto oInterface = parseAccessPoint(a_lAttributes)) {
            lInterfaces.push_back(std::move(*oInterface));
        }
    });
    sortAccessPoints(lInterfaces);
    return lInterfaces;
}

std::optional<Networks> Nl80211::getNetworks(std::uint32_t a_iInterface)
{
    Message pQuestion = message(NL80211_CMD_GET_SCAN, NLM_F_DUMP);
    nla_put_u32(pQuestion.get(), NL80211_ATTR_IFINDEX, a_iInterface);
    Networks lNetworks;
    const bool bAnswered = ask(std::move(pQuestion), [&](Bytes a_lAttributes) {
        if (const auto oNetwork = parseNetwork(a_lAttributes)) {
            lNetworks.push_back(*oNetwork);
        }
    });
    return bAnswered ? std::optional(std::move(lNetworks)) : std::nullopt;
}

void Nl80211::startScan(std::uint32_t a_iInterface)
{
    Message pQuestion = message(NL80211_CMD_TRIGGER_SCAN, 0);
    nla_put_u32(pQuestion.get(), NL80211_ATTR_IFINDEX, a_iInterface);
    nla_put_u32(pQuestion.get(), NL80211_ATTR_SCAN_FLAGS, NL80211_SCAN_FLAG_AP);
    ask(std::move(pQuestion), [](Bytes) {});
}

/// A question with room for what it asks about.
Nl80211::Message Nl80211::message(std::uint8_t a_iCommand, int a_iFlags) const
{
    Message pMessage(nlmsg_alloc());
    if (!pMessage || genlmsg_put(pMessage.get(), NL_AUTO_PORT, NL_AUTO_SEQ, std::max(m_iFamily, 0), 0,
                                 a_iFlags, a_iCommand, 0) == nullptr) {
        throw std::bad_alloc();
    }
    return pMessage;
}

/// Tells of each message of the answer. False when the kernel refuses or does not answer in time; then it is
/// not asked again, since a late answer would be taken for that of the next question.
bool Nl80211::ask(Message a_pQuestion, Receiver a_oReceiver)
{
    if (m_iFamily < 0) {
        return false;
    }
    nl_socket_modify_cb(m_pSocket.get(), NL_CB_VALID, NL_CB_CUSTOM, &tell, &a_oReceiver);
    int iResult = nl_send_auto(m_pSocket.get(), a_pQuestion.get());
    if (iResult >= 0) {
        iResult = nl_recvmsgs_default(m_pSocket.get());
    }
    if (iResult == -NLE_AGAIN) {
        m_iFamily = -1;
    }
    // What changed while it was told is told all the same.
    return iResult >= 0 || iResult == -NLE_DUMP_INTR;
}

} // namespace zel::device
