#include "zel/rtnetlink.h"

#include "zel/uniquefd.h"

#include <array>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace zel::net {

namespace {

/// The kernel makes no part of an answer longer.
constexpr std::size_t c_iLongestPart = 32768;

/// Calls the receiver with the messages that were received together. False once the answer is complete.
bool takePart(Bytes a_lPart, const std::function<void(Bytes a_lMessage)>& a_oReceiver)
{
    bool bMore = false;
    while (a_lPart.size() >= sizeof(nlmsghdr)) {
        const auto oHead = startOf<nlmsghdr>(a_lPart);
        if (oHead.nlmsg_type == NLMSG_DONE || oHead.nlmsg_type == NLMSG_ERROR ||
            oHead.nlmsg_len < sizeof(nlmsghdr)) {
            return false;
        }
        a_oReceiver(a_lPart.first(std::min<std::size_t>(oHead.nlmsg_len, a_lPart.size())));
        bMore = (oHead.nlmsg_flags & NLM_F_MULTI) != 0;
        a_lPart = skip(a_lPart, NLMSG_ALIGN(oHead.nlmsg_len));
    }
    return bMore;
}

} // namespace

void askKernel(Bytes a_lRequest, const std::function<void(Bytes a_lMessage)>& a_oReceiver)
{
    const UniqueFd oSocket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (::send(oSocket.get(), a_lRequest.data(), a_lRequest.size(), 0) !=
        static_cast<ssize_t>(a_lRequest.size())) {
        return;
    }
    std::array<char, c_iLongestPart> aPart;
    ssize_t iSize = 0;
    do {
        // The first part is there when send returns, each further part when recv has returned the one before.
        iSize = ::recv(oSocket.get(), aPart.data(), aPart.size(), MSG_DONTWAIT);
    } while (iSize > 0 && takePart({aPart.data(), static_cast<std::size_t>(iSize)}, a_oReceiver));
}

Bytes contentOf(Bytes a_lMessage)
{
    const auto oHead = startOf<nlmsghdr>(a_lMessage);
    return skip(a_lMessage.first(std::min<std::size_t>(oHead.nlmsg_len, a_lMessage.size())), NLMSG_LENGTH(0));
}

void forEachAttribute(Bytes a_lContent, std::size_t a_iStructSize,
                      const std::function<void(unsigned a_iType, Bytes a_lValue)>& a_oReceiver)
{
    Bytes lRest = skip(a_lContent, NLMSG_ALIGN(a_iStructSize));
    while (lRest.size() >= sizeof(rtattr)) {
        const auto oAttribute = startOf<rtattr>(lRest);
        if (oAttribute.rta_len < sizeof(rtattr) || oAttribute.rta_len > lRest.size()) {
            break;
        }
        a_oReceiver(oAttribute.rta_type, skip(lRest.first(oAttribute.rta_len), RTA_LENGTH(0)));
        lRest = skip(lRest, RTA_ALIGN(oAttribute.rta_len));
    }
}

} // namespace zel::net
