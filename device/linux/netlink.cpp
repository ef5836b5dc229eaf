#include "device/linux/netlink.h"

#include <cstring>
#include <exception>
#include <netlink/errno.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>
#include <netlink/socket.h>
#include <utility>

namespace zel::device {

namespace {

/// What goes through the library, which no exception may pass.
struct Answer
{
    const Receiver& m_oReceiver;
    bool m_bRefused = false;
    std::exception_ptr m_pException{};
};

Bytes contentOf(nl_msg* a_pMessage)
{
    const nlmsghdr* pHead = nlmsg_hdr(a_pMessage);
    return {static_cast<const unsigned char*>(nlmsg_data(pHead)),
            static_cast<std::size_t>(nlmsg_datalen(pHead))};
}

int tell(nl_msg* a_pMessage, void* a_pAnswer) noexcept
{
    auto& oAnswer = *static_cast<Answer*>(a_pAnswer);
    try {
        if (!oAnswer.m_pException) {
            oAnswer.m_oReceiver(contentOf(a_pMessage));
        }
    } catch (...) {
        oAnswer.m_pException = std::current_exception();
    }
    return NL_OK;
}

/// The last message of a list has the error that ended it, which the library does not look at.
int finish(nl_msg* a_pMessage, void* a_pAnswer) noexcept
{
    const Bytes lContent = contentOf(a_pMessage);
    int iError = 0;
    if (lContent.size() >= sizeof iError) {
        std::memcpy(&iError, lContent.data(), sizeof iError);
    }
    static_cast<Answer*>(a_pAnswer)->m_bRefused = iError < 0;
    return NL_OK;
}

} // namespace

EAnswer ask(nl_sock& a_oSocket, nl_msg& a_oQuestion, const Receiver& a_oReceiver)
{
    Answer oAnswer{a_oReceiver};
    nl_socket_modify_cb(&a_oSocket, NL_CB_VALID, NL_CB_CUSTOM, &tell, &oAnswer);
    nl_socket_modify_cb(&a_oSocket, NL_CB_FINISH, NL_CB_CUSTOM, &finish, &oAnswer);
    int iResult = nl_send_auto(&a_oSocket, &a_oQuestion);
    if (iResult >= 0) {
        iResult = nl_recvmsgs_default(&a_oSocket);
    }
    if (oAnswer.m_pException) {
        std::rethrow_exception(std::exchange(oAnswer.m_pException, nullptr));
    }
    if (iResult == -NLE_AGAIN) {
        return EAnswer::TimedOut;
    }
    // What changed while it was told is told all the same.
    const bool bWhole = !oAnswer.m_bRefused && (iResult >= 0 || iResult == -NLE_DUMP_INTR);
    return bWhole ? EAnswer::Whole : EAnswer::Refused;
}

} // namespace zel::device
