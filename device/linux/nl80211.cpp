#include "device/linux/nl80211.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <linux/genetlink.h>
#include <linux/nl80211.h>
#include <netlink/errno.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/socket.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace zel::device {

namespace {

using Clock = std::chrono::steady_clock;

constexpr timeval c_oLongestWait{0, 300'000}; // all clients wait
constexpr std::chrono::seconds c_oMissingPause{5};
constexpr std::chrono::seconds c_oLatePause{30};

/// When the kernel may be asked again. Contexts come and go with each look at the radios; so it is kept
/// beside them.
Clock::time_point& nextQuestion()
{
    thread_local Clock::time_point s_oNext;
    return s_oNext;
}

/// The number of the family, negative when the kernel has none. Not to have it costs the kernel a search for
/// a module, so that the answer is kept for a while.
int resolveFamily(nl_sock* a_pSocket)
{
    if (Clock::now() < nextQuestion()) {
        return -NLE_OBJ_NOTFOUND;
    }
    const int iFamily = genl_ctrl_resolve(a_pSocket, NL80211_GENL_NAME);
    if (iFamily < 0) {
        nextQuestion() = Clock::now() + (iFamily == -NLE_AGAIN ? c_oLatePause : c_oMissingPause);
    }
    return iFamily;
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
        for (const int iWait : {SO_RCVTIMEO, SO_SNDTIMEO}) {
            ::setsockopt(nl_socket_get_fd(m_pSocket.get()), SOL_SOCKET, iWait, &c_oLongestWait,
                         sizeof(c_oLongestWait));
        }
        m_iFamily = resolveFamily(m_pSocket.get());
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

/// Tells of the attributes of each message of the answer. False when the kernel refuses, or does not answer
/// in time; then it is not asked again for a while.
bool Nl80211::ask(Message a_pQuestion, const Receiver& a_oReceiver)
{
    if (m_iFamily < 0) {
        return false;
    }
    const auto eAnswer = device::ask(*m_pSocket, *a_pQuestion, [&](Bytes a_lMessage) {
        a_oReceiver(a_lMessage.subspan(std::min<std::size_t>(GENL_HDRLEN, a_lMessage.size())));
    });
    if (eAnswer == EAnswer::TimedOut) {
        m_iFamily = -1;
        nextQuestion() = Clock::now() + c_oLatePause;
    }
    return eAnswer == EAnswer::Whole;
}

} // namespace zel::device
