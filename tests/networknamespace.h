// A network of the test's own: a namespace that is empty but for "lo", and gone with all its devices after
// the test. Needs root; without, the test is skipped.
#pragma once

#include "zel/uniquefd.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sched.h>
#include <string>
#include <sys/socket.h>

class NetworkTest : public testing::Test
{
protected:
    static constexpr int c_iFrameSize = 60;

    NetworkTest() : m_bEntered(::unshare(CLONE_NEWNET) == 0) {}
    ~NetworkTest() override { ::setns(m_oBefore.get(), CLONE_NEWNET); }

    void SetUp() override
    {
        if (!m_bEntered) {
            GTEST_SKIP() << "may not make a network namespace";
        }
    }

    static void ip(const std::string& a_sArguments)
    {
        EXPECT_EQ(std::system(("ip " + a_sArguments).c_str()), 0) << a_sArguments; // NOLINT
    }
    /// Two Ethernet devices, "lan" and "peer", that are connected and send nothing of themselves.
    static void addLan()
    {
        ip("link add lan address 02:00:00:00:00:01 mtu 1400 type veth peer name peer");
        ip("link set lan addrgenmode none");
        ip("link set peer addrgenmode none up");
    }
    /// Lets the device send a frame.
    static void sendFrame(const std::string& a_sDevice)
    {
        const zel::UniqueFd oSocket(::socket(AF_PACKET, SOCK_RAW, 0));
        sockaddr_ll oTo{};
        oTo.sll_family = AF_PACKET;
        oTo.sll_ifindex = static_cast<int>(::if_nametoindex(a_sDevice.c_str()));
        const std::array<char, c_iFrameSize> aFrame{};
        EXPECT_EQ(::sendto(oSocket.get(), aFrame.data(), aFrame.size(), 0,
                           reinterpret_cast<const sockaddr*>(&oTo), sizeof(oTo)),
                  c_iFrameSize);
    }

private:
    const zel::UniqueFd m_oBefore{::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC)};
    const bool m_bEntered;
};
