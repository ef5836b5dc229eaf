#include "bench/statuslimits.h"

#include "bench/check.h"
#include "dbus/objectpath.h"
#include "tools/signals.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr int c_iCallTimeoutMs = 5000;

struct LinkQuestion
{
    nlmsghdr m_oHead;
    ifinfomsg m_oLink;
    rtattr m_oAttribute;
    std::array<char, IFNAMSIZ> m_aName;
};

} // namespace

Kernel::Kernel() : m_oSocket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {}

void Kernel::askLink(const std::string& a_sDevice)
{
    LinkQuestion oQuestion{};
    oQuestion.m_oHead.nlmsg_len = sizeof oQuestion;
    oQuestion.m_oHead.nlmsg_type = RTM_GETLINK;
    oQuestion.m_oHead.nlmsg_flags = NLM_F_REQUEST;
    oQuestion.m_oAttribute.rta_type = IFLA_IFNAME;
    oQuestion.m_oAttribute.rta_len = sizeof oQuestion.m_oAttribute + sizeof oQuestion.m_aName;
    a_sDevice.copy(oQuestion.m_aName.data(), oQuestion.m_aName.size() - 1);
    check(::send(m_oSocket.get(), &oQuestion, sizeof oQuestion, 0) == sizeof oQuestion &&
              ::recv(m_oSocket.get(), m_aAnswer.data(), m_aAnswer.size(), 0) > 0,
          "the kernel does not answer");
}

void Kernel::readIPv6Addresses()
{
    const zel::UniqueFd oFile(::open("/proc/net/if_inet6", O_RDONLY | O_CLOEXEC));
    ssize_t iSize = 0;
    while ((iSize = ::read(oFile.get(), m_aAnswer.data(), m_aAnswer.size())) > 0) {
    }
    check(iSize == 0, "the kernel does not list IPv6 addresses");
}

int Kernel::splitConnections()
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pFile(std::fopen("/proc/net/nf_conntrack", "re"),
                                                                &std::fclose);
    check(pFile != nullptr, "the kernel does not list connections");
    int iConnections = 0;
    while (std::fgets(m_aAnswer.data(), static_cast<int>(m_aAnswer.size()), pFile.get()) != nullptr) {
        int iTokens = 0;
        char* pRest = nullptr;
        for (char* pToken = ::strtok_r(m_aAnswer.data(), " \n", &pRest); pToken != nullptr;
             pToken = ::strtok_r(nullptr, " \n", &pRest)) {
            ++iTokens;
        }
        iConnections += iTokens > 0;
    }
    return iConnections;
}

PlainBus::PlainBus() : m_pConnection(dbus_bus_get_private(DBUS_BUS_SYSTEM, nullptr))
{
    check(m_pConnection != nullptr, "no connection to the bus");
}

void PlainBus::askLinkStatus(const std::string& a_sDevice)
{
    using zel::netsim::c_pInterfaceStatus;
    const zel::netsim::Message oCall(
        dbus_message_new_method_call(c_pInterfaceStatus, zel::objectPathOf(c_pInterfaceStatus).c_str(),
                                     c_pInterfaceStatus, "GetLinkStatusForDevice"));
    const char* pDevice = a_sDevice.c_str();
    dbus_message_append_args(oCall.get(), DBUS_TYPE_STRING, &pDevice, DBUS_TYPE_INVALID);
    const zel::netsim::Message oAnswer(dbus_connection_send_with_reply_and_block(
        m_pConnection.get(), oCall.get(), c_iCallTimeoutMs, nullptr));
    check(oAnswer != nullptr, "the service does not answer");
}

void PlainBus::listen(const std::string& a_sService)
{
    dbus_bus_add_match(m_pConnection.get(), ("type='signal',interface='" + a_sService + "'").c_str(),
                       nullptr);
    dbus_connection_flush(m_pConnection.get());
}

void PlainBus::receive(const char* a_pSignal, int a_iCount)
{
    while (a_iCount > 0) {
        check(dbus_connection_read_write(m_pConnection.get(), -1), "the bus has gone");
        while (const zel::netsim::Message oMessage{dbus_connection_pop_message(m_pConnection.get())}) {
            a_iCount -= dbus_message_has_member(oMessage.get(), a_pSignal) != 0;
        }
    }
}

} // namespace bench
