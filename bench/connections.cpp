#include "bench/check.h"
#include "bench/ledger.h"
#include "bench/measurement.h"
#include "bench/network.h"
#include "bench/requests.h"
#include "bench/statuslimits.h"
#include "zel/uniquefd.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <fstream>
#include <sys/socket.h>

namespace bench {

namespace {

constexpr int c_iConnections = 20000;
constexpr int c_iReads = 5; // in a round
constexpr const char* c_pTable = "IpConntrack";

void sendDatagram(int a_iSocket, std::uint32_t a_iAddress, std::uint16_t a_iPort)
{
    sockaddr_in oTo{};
    oTo.sin_family = AF_INET;
    oTo.sin_addr.s_addr = htonl(a_iAddress);
    oTo.sin_port = htons(a_iPort);
    check(::sendto(a_iSocket, "", 1, 0, reinterpret_cast<const sockaddr*>(&oTo), sizeof oTo) == 1,
          "a datagram is not sent");
}

/// Lets the kernel track a connection for each datagram, for longer than it is measured.
void makeConnections()
{
    check(std::system("iptables -A INPUT -m conntrack --ctstate NEW -j DROP") == 0, // NOLINT
          "the kernel does not track connections");
    std::ofstream("/proc/sys/net/netfilter/nf_conntrack_udp_timeout") << 3600;
    const zel::UniqueFd oSocket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    for (int i = 0; i < c_iConnections; ++i) {
        sendDatagram(oSocket.get(), 0x7f010000 + static_cast<std::uint32_t>(i / 4),
                     static_cast<std::uint16_t>(40000 + i % 4));
    }
}

} // namespace

Outcome readConnections(const Effort& a_oEffort)
{
    if (std::system("iptables --version >/dev/null 2>&1") != 0) { // NOLINT
        throw Skipped("making the kernel track connections takes iptables");
    }
    return measureInNetwork([&](Network&) {
        makeConnections();
        Kernel oKernel;
        const auto splitAll = [&] {
            check(oKernel.splitConnections() == c_iConnections, "the kernel has other connections");
        };
        const auto timeOfFirstRead = [&] {
            const Ledger oLedger(createDatabase);
            const auto pConnection = oLedger.connect();
            check(pConnection->call(request::Ping{}));
            return timeOf([&] {
                const auto oRows = pConnection->call(request::SelectRows{c_pTable});
                check(oRows.ok() && oRows->size() == c_iConnections, "a bulk read fails");
            });
        };
        const int iTimes = a_oEffort.times(c_iReads);
        return compare(
            a_oEffort, [&] { return medianTime(iTimes, splitAll) / 1000; },
            [&] { return medianOf(iTimes, timeOfFirstRead) / 1000; });
    });
}

} // namespace bench
