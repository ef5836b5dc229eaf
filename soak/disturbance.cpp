#include "soak/disturbance.h"

#include "cli/control.h"
#include "zel/fifo.h"
#include "zel/systempath.h"
#include "zel/uniquefd.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace soak {

namespace {

using namespace std::chrono_literals;

constexpr auto c_oOperatorPause = 2s;
constexpr auto c_oFirstPause = 200ms; // after the first command of each kind
constexpr std::size_t c_iLongestLockMs = 1000;
constexpr auto c_oNetworkPause = 300ms;
constexpr std::size_t c_iChangePeriod = 4; // so many events for a change in the kernel

constexpr const char* c_aCommands[] = {
    "trigger",
    "dump -a",
    "dump -p",
    "lock",
    "dump -t",
    "dump -x",
    "waittime 3",
    "waittime nonsense",
    "persistmode nosqldump",
    "unlock",
    "nonsense",
    "persistmode redundant",
    "persistmode default",
};

constexpr const char* c_pDevices =
    "link add br0 type bridge\nlink add eth0 type veth peer name desk\nlink set eth0 master br0\n"
    "tuntap add ppp0 mode tun\nlink add wan0 type dummy\n"
    "link add link wan0 name wan0.8 type vlan id 8\naddress add 192.168.1.1/24 dev br0";

// What happens. See fill() for the words with a %.

constexpr std::array c_aKernelChanges = {
    "link set %device down",
    "address add 198.51.100.%digit/24 dev %device",
    "address del 198.51.100.%digit/24 dev %device",
    "address add 2001:db8::%digit/64 nodad dev %device",
    "route replace 203.0.113.%digit/32 dev %device",
    "link set %device up",
};

/// Lines for ledger-netsim.
constexpr std::array c_aEvents = {
    "emit StatusChange %device true",
    "emit StatusChange %device false",
    "emit LinkStatusChange %device true",
    "link %device down",
    "link %device up",
    "emit NewIPv4Address %device 198.51.100.%number",
    "emit RemovedIPv4Address %device 198.51.100.%number",
    "emit NewIPv6Address %device 2001:db8::%number 64",
    "emit RemovedIPv6Address %device 2001:db8::%number 64",
    "emit NewIPv4Route ppp0 0 0.0.0.0 203.0.113.1 '' 0",
    "emit RemovedIPv4Route ppp0 0 0.0.0.0 203.0.113.1 '' 0",
    "emit NewIPv6Route ppp0 0 :: fe80::1",
    "emit NewIPv4Neighbour br0 192.168.1.%number 02:00:5e:10:00:20 2",
    "emit UpdateServer ppp0 isp.example 203.0.113.53,203.0.113.54",
    "emit DhcpLeaseAdded 192.168.1.%number 02:00:5e:10:00:%number desk%number '' 86400",
    "emit DhcpLeaseUpdated 192.168.1.%number 02:00:5e:10:00:%number desk%number '' 86401",
    "emit DhcpLeaseAcked 192.168.1.%number 02:00:5e:10:00:%number desk%number '' 86402",
    "emit DhcpLeaseDeleted 192.168.1.%number 02:00:5e:10:00:%number desk%number '' 86400",
    "storm 200 StatusChange %device true",
    "storm 200 StatusChange %device false",
    "bad StatusChange s %device",
    "cache dnsmasq.cache 'A F 4 x host%number.example 192.0.2.7 300'",
};

constexpr const char* c_aDevices[] = {"br0", "eth0", "ppp0", "wan0", "wan0.8", "lo", "desk"};

/// Replaces %device, %digit and %number (of two digits), each by the same wherever it stands.
std::string fill(std::string a_sPattern, Random& a_oRandom)
{
    for (const auto& [sWord, sBy] :
         {std::pair<std::string, std::string>("%device", a_oRandom.pick(c_aDevices)),
          {"%digit", std::to_string(2 + a_oRandom.below(8))},
          {"%number", std::to_string(10 + a_oRandom.below(50))}}) {
        for (auto iAt = a_sPattern.find(sWord); iAt != std::string::npos; iAt = a_sPattern.find(sWord)) {
            a_sPattern.replace(iAt, sWord.size(), sBy);
        }
    }
    return a_sPattern;
}

void control(World& a_oWorld, const std::string& a_sCommand)
{
    a_oWorld.m_oTally.count("FIFO command " + a_sCommand);
    const auto oOutcome = systema::cli::sendControl(zel::systemPath("/tmp/ledgerd.fifo"), a_sCommand);
    if (!oOutcome.ok()) {
        a_oWorld.m_oTally.fault("FIFO command " + a_sCommand + " failed");
    }
}

/// What it complains of is of no interest: an address may be there already.
void ip(World& a_oWorld, const std::string& a_sCommands)
{
    a_oWorld.m_oTally.count("change in the kernel");
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pTool(
        ::popen("ip -force -batch - > /dev/null 2>&1", "we"), &::pclose);
    if (pTool == nullptr || std::fputs((a_sCommands + "\n").c_str(), pTool.get()) < 0) {
        a_oWorld.m_oTally.fault("ip does not run");
    }
}

void tell(World& a_oWorld, const zel::UniqueFd& a_oServices, const std::string& a_sEvent)
{
    a_oWorld.m_oTally.count("event of the network services");
    const std::string sLine = a_sEvent + "\n";
    if (::write(a_oServices.get(), sLine.data(), sLine.size()) != static_cast<ssize_t>(sLine.size())) {
        a_oWorld.m_oTally.fault("ledger-netsim takes no events");
    }
}

} // namespace

void operate(World& a_oWorld, Random a_oRandom)
{
    for (std::size_t i = 0;
         a_oWorld.pause(i < std::size(c_aCommands) ? c_oFirstPause : a_oRandom.pause(c_oOperatorPause));
         ++i) {
        const std::string sCommand = a_oRandom.pick(c_aCommands, i);
        control(a_oWorld, sCommand);
        if (sCommand == "lock") {
            a_oWorld.pause(std::chrono::milliseconds(a_oRandom.below(c_iLongestLockMs)));
            control(a_oWorld, "unlock");
        }
    }
}

void changeNetwork(World& a_oWorld, Random a_oRandom, const std::string& a_sServices)
{
    const zel::UniqueFd oServices = zel::sys::openFifo(a_sServices, O_WRONLY | O_NONBLOCK);
    ip(a_oWorld, c_pDevices);
    for (std::size_t i = 0; a_oWorld.pause(a_oRandom.pause(c_oNetworkPause)); ++i) {
        tell(a_oWorld, oServices, fill(a_oRandom.pick(c_aEvents, i), a_oRandom));
        if (i % c_iChangePeriod == 0) {
            ip(a_oWorld, fill(a_oRandom.pick(c_aKernelChanges, i / c_iChangePeriod), a_oRandom));
        }
    }
}

void settle(World& a_oWorld)
{
    control(a_oWorld, "persistmode default");
    control(a_oWorld, "trigger");
}

} // namespace soak
