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
constexpr auto c_oLongestLock = 1000;
constexpr auto c_oNetworkPause = 300ms;

constexpr std::array c_aCommands = {
    "trigger",
    "trigger",
    "dump -a",
    "dump -p",
    "dump -t",
    "dump -x",
    "lock",
    "lock",
    "waittime 3",
    "waittime 10",
    "waittime nonsense",
    "persistmode nosqldump",
    "unlock",
    "nonsense",
    "persistmode redundant",
    "persistmode default",
};

constexpr std::array c_aDevices = {"br0", "eth0", "ppp0", "wan0", "wan0.8", "lo", "desk"};
constexpr std::array c_aUpOrDown = {"up", "down"};
constexpr std::array c_aTrueOrFalse = {"true", "false"};
constexpr int c_iLeases = 50;
constexpr int c_iStorm = 200;

void control(World& a_oWorld, const std::string& a_sCommand)
{
    a_oWorld.m_oJournal.note("FIFO: " + a_sCommand);
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
    const Journal::Activity oActivity(a_oWorld.m_oJournal, "ip " + a_sCommands);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pTool(
        ::popen("ip -force -batch - > /dev/null 2>&1", "we"), &::pclose);
    if (pTool == nullptr || std::fputs((a_sCommands + "\n").c_str(), pTool.get()) < 0) {
        a_oWorld.m_oTally.fault("ip does not run");
    }
}

std::string randomKernelChange(Random& a_oRandom)
{
    const std::string sDevice = a_oRandom.pick(c_aDevices);
    const std::string sNumber = std::to_string(2 + a_oRandom.below(8));
    switch (a_oRandom.below(6)) {
    case 0:
        return "link set " + sDevice + " down";
    case 1:
        return "address add 198.51.100." + sNumber + "/24 dev " + sDevice;
    case 2:
        return "address del 198.51.100." + sNumber + "/24 dev " + sDevice;
    case 3:
        return "address add 2001:db8::" + sNumber + "/64 nodad dev " + sDevice;
    case 4:
        return "route replace 203.0.113." + sNumber + "/32 dev " + sDevice;
    default:
        return "link set " + sDevice + " up";
    }
}

/// A line for ledger-netsim.
std::string randomEvent(Random& a_oRandom)
{
    const std::string sDevice = a_oRandom.pick(c_aDevices);
    const std::string sState = std::string(sDevice) + " " + a_oRandom.pick(c_aTrueOrFalse);
    const std::string sNumber = std::to_string(10 + a_oRandom.below(c_iLeases));
    const std::string sLease = " 192.168.1." + sNumber + " 02:00:5e:10:00:" + sNumber + " desk" + sNumber +
                               " '' " + std::to_string(86400 + a_oRandom.below(3));
    switch (a_oRandom.below(20)) {
    case 0:
    case 1:
        return "emit StatusChange " + sState;
    case 2:
        return "emit LinkStatusChange " + sState;
    case 3:
        return "link " + sDevice + " " + a_oRandom.pick(c_aUpOrDown);
    case 4:
        return "emit NewIPv4Address " + sDevice + " 198.51.100." + sNumber;
    case 5:
        return "emit RemovedIPv4Address " + sDevice + " 198.51.100." + sNumber;
    case 6:
        return "emit NewIPv6Address " + sDevice + " 2001:db8::" + sNumber + " 64";
    case 7:
        return "emit RemovedIPv6Address " + sDevice + " 2001:db8::" + sNumber + " 64";
    case 8:
        return "emit NewIPv4Route ppp0 0 0.0.0.0 203.0.113.1 '' 0";
    case 9:
        return "emit RemovedIPv4Route ppp0 0 0.0.0.0 203.0.113.1 '' 0";
    case 10:
        return "emit NewIPv6Route ppp0 0 :: fe80::1";
    case 11:
        return "emit UpdateServer ppp0 isp.example 203.0.113.53,203.0.113.54";
    case 12:
        return "emit DhcpLeaseDeleted" + sLease;
    case 13:
        return "emit DhcpLeaseUpdated" + sLease;
    case 14:
        return "emit DhcpLeaseAcked" + sLease;
    case 15:
        return "storm " + std::to_string(c_iStorm) + " StatusChange " + sState;
    case 16:
        return "bad StatusChange s " + sDevice;
    case 17:
        return "cache dnsmasq.cache 'A F 4 x host" + sNumber + ".example 192.0.2.7 300'";
    case 18:
        return "emit NewIPv4Neighbour br0 192.168.1." + sNumber + " 02:00:5e:10:00:20 2";
    default:
        return "emit DhcpLeaseAdded" + sLease;
    }
}

} // namespace

void operate(World& a_oWorld, Random a_oRandom)
{
    while (a_oWorld.m_oStop.pause(a_oRandom.pause(c_oOperatorPause))) {
        const std::string sCommand = a_oRandom.pick(c_aCommands);
        control(a_oWorld, sCommand);
        if (sCommand == "lock") {
            a_oWorld.m_oStop.pause(std::chrono::milliseconds(a_oRandom.below(c_oLongestLock)));
            control(a_oWorld, "unlock");
        }
    }
    control(a_oWorld, "persistmode default");
}

void changeNetwork(World& a_oWorld, Random a_oRandom, const std::string& a_sServices)
{
    const zel::UniqueFd oServices = zel::sys::openFifo(a_sServices, O_WRONLY | O_NONBLOCK);
    ip(a_oWorld,
       "link add br0 type bridge\nlink add eth0 type veth peer name desk\nlink set eth0 master br0\n"
       "tuntap add ppp0 mode tun\nlink add wan0 type dummy\n"
       "link add link wan0 name wan0.8 type vlan id 8\naddress add 192.168.1.1/24 dev br0");
    while (a_oWorld.m_oStop.pause(a_oRandom.pause(c_oNetworkPause))) {
        if (a_oRandom.oneIn(4)) {
            ip(a_oWorld, randomKernelChange(a_oRandom));
        } else {
            const std::string sLine = randomEvent(a_oRandom) + "\n";
            a_oWorld.m_oJournal.note("network: " + sLine.substr(0, sLine.size() - 1));
            a_oWorld.m_oTally.count("event of the network services");
            if (::write(oServices.get(), sLine.data(), sLine.size()) != static_cast<ssize_t>(sLine.size())) {
                a_oWorld.m_oTally.fault("ledger-netsim takes no events");
            }
        }
    }
}

} // namespace soak
