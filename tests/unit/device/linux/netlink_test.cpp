#include "device/linux/netlink.h"

#include <gtest/gtest.h>

#include <linux/if_addr.h>
#include <linux/rtnetlink.h>
#include <memory>
#include <netlink/msg.h>
#include <netlink/netlink.h>
#include <netlink/socket.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>

using zel::device::EAnswer;

namespace {

/// A socket to the kernel's routing, which exists everywhere.
class Netlink : public testing::Test
{
protected:
    Netlink()
    {
        EXPECT_EQ(nl_connect(m_pSocket.get(), NETLINK_ROUTE), 0);
        const int iStrict = 1;
        const timeval oSoon{0, 10000};
        const int iFd = nl_socket_get_fd(m_pSocket.get());
        EXPECT_EQ(::setsockopt(iFd, SOL_NETLINK, NETLINK_GET_STRICT_CHK, &iStrict, sizeof iStrict), 0);
        EXPECT_EQ(::setsockopt(iFd, SOL_SOCKET, SO_RCVTIMEO, &oSoon, sizeof oSoon), 0);
    }

    /// Asks for the addresses of a device, of all for 0, and counts what is told.
    EAnswer askForAddresses(unsigned a_iDevice)
    {
        ifaddrmsg oWhich{};
        oWhich.ifa_index = a_iDevice;
        const auto pQuestion = question(RTM_GETADDR, NLM_F_DUMP);
        nlmsg_append(pQuestion.get(), &oWhich, sizeof oWhich, NLMSG_ALIGNTO);
        m_iTold = 0;
        return zel::device::ask(*m_pSocket, *pQuestion, m_oReceiver);
    }
    static std::unique_ptr<nl_msg, void (*)(nl_msg*)> question(int a_iType, int a_iFlags)
    {
        return {nlmsg_alloc_simple(a_iType, a_iFlags), &nlmsg_free};
    }

    const std::unique_ptr<nl_sock, void (*)(nl_sock*)> m_pSocket{nl_socket_alloc(), &nl_socket_free};
    int m_iTold = 0;
    zel::device::Receiver m_oReceiver = [this](zel::device::Bytes a_lMessage) {
        m_iTold += a_lMessage.size() >= sizeof(ifaddrmsg) ? 1 : 0;
    };
};

constexpr unsigned c_iNoDevice = 0x7fffffff;

} // namespace

TEST_F(Netlink, AListThatEndsWithAnErrorIsARefusal)
{
    EXPECT_EQ(askForAddresses(c_iNoDevice), EAnswer::Refused);
    EXPECT_EQ(m_iTold, 0);
    EXPECT_EQ(askForAddresses(0), EAnswer::Whole);
    EXPECT_GT(m_iTold, 0);
    EXPECT_EQ(zel::device::ask(*m_pSocket, *question(RTM_MAX + 1, 0), m_oReceiver), EAnswer::Refused);
}

TEST_F(Netlink, WhatIsNotAnsweredInTimeIsLate)
{
    nl_socket_disable_auto_ack(m_pSocket.get());
    EXPECT_EQ(zel::device::ask(*m_pSocket, *question(NLMSG_NOOP, 0), m_oReceiver), EAnswer::TimedOut);
}

TEST_F(Netlink, AnExceptionOfTheReceiverComesOutAndLeavesTheSocketUsable)
{
    const auto oCount = std::exchange(
        m_oReceiver, [](zel::device::Bytes) { throw std::length_error("no more can be kept"); });
    EXPECT_THROW(askForAddresses(0), std::length_error);
    m_oReceiver = oCount;
    EXPECT_EQ(askForAddresses(0), EAnswer::Whole);
    EXPECT_GT(m_iTold, 0);
}
