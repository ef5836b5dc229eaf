// The live-status tables of a daemon among network services and a kernel that tests may change.
#include "tests/e2e/nettest.h"

#include <algorithm>
#include <csignal>
#include <map>
#include <set>

namespace e2e {
namespace {

/// Two updates, and what may pass until the first: the time between two is counted in whole seconds.
constexpr std::chrono::seconds c_oTwoUpdates{c_bSanitized ? 30 : 5};

class Status : public NetTest
{
protected:
    void SetUp() override
    {
        NetTest::SetUp();
        if (!IsSkipped()) {
            ip("link add eth0 mtu 1400 address 02:00:00:00:00:01 type veth peer name peer");
            ip("link set eth0 addrgenmode none");
            serve({"--stay"});
        }
    }

    std::string watched(const std::string& a_sDevice, const char* a_pColumn)
    {
        return at("StatusNetifWatch", "Name", a_sDevice, a_pColumn);
    }
    std::string counted(const std::string& a_sDevice, const char* a_pColumn)
    {
        return at("NetifCounter", "Name", a_sDevice, a_pColumn);
    }
    /// Waits until the daemon has seen all that the services sent so far.
    void settle()
    {
        ++m_iSettled;
        tell("emit LinkStatusChange settle true");
        await(std::to_string(m_iSettled), [this] { return counted("settle", "LinkUp"); });
    }

    /// How often the daemon has logged the text.
    std::size_t times(const std::string& a_sText)
    {
        const std::string sLog = daemon().errors();
        std::size_t iTimes = 0;
        for (std::size_t i = 0; (i = sLog.find(a_sText, i)) != std::string::npos; ++i) {
            ++iTimes;
        }
        return iTimes;
    }

private:
    int m_iSettled = 0;
};

TEST_F(Status, AddressesAndLinksComeAndGo)
{
    startDaemon();
    EXPECT_EQ("0", watched("eth0", "IsUp"));
    EXPECT_EQ("0", watched("wan0", "IsUp")); // which does not exist
    Client oWatcher(socket());
    ASSERT_TRUE(oWatcher.subscribe({"StatusNetifWatch", "NetifCounter", "StatusNetIfIPv6Addresses"}).ok());
    settle();
    oWatcher.changes();

    ip("address add 192.0.2.1/24 broadcast 192.0.2.255 dev eth0");
    ip("address add 2001:db8::1/64 dev eth0 nodad");
    ip("link set eth0 up");
    ip("link set peer up");
    const auto oBegin = std::chrono::steady_clock::now();
    tell("link eth0 up");
    tell("emit LinkStatusChange eth0 true");
    tell("emit StatusChange eth0 true");
    tell("emit NewIPv4Address eth0 192.0.2.1");
    tell("emit NewIPv6Address eth0 2001:db8::1 64");
    std::set<std::string> lTold;
    while (lTold.size() < 3) {
        const auto oTable = oWatcher.waitForChange(c_oDeadline);
        ASSERT_TRUE(oTable->has_value()) << "no change is told after those of " << lTold.size() << " tables";
        lTold.insert(**oTable);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - oBegin, c_oTwoUpdates);

    const std::map<std::string, std::string> mUp{
        {"Addr", "192.0.2.1"}, {"BroadAddr", "192.0.2.255"},    {"Netmask", "255.255.255.0"},
        {"MTU", "1400"},       {"HwAddr", "02:00:00:00:00:01"}, {"IsUp", "1"},
        {"IsLinkUp", "1"},     {"IPv6GlobalAddrs", "1"}};
    for (const auto& [sColumn, sValue] : mUp) {
        EXPECT_EQ(sValue, watched("eth0", sColumn.c_str())) << sColumn;
    }
    EXPECT_EQ("2001:db8::1", at("StatusNetIfIPv6Addresses", "Name", "eth0", "Addr"));
    const int iPackets = std::stoi(watched("lo", "RxPackets"));
    run("/bin/bash", {{"-c", "echo > /dev/udp/127.0.0.1/9"}, {}, {}, [this] { m_oNamespace.enter(); }});
    EXPECT_LT(iPackets, std::stoi(watched("lo", "RxPackets")));

    ip("address flush dev eth0");
    ip("link set eth0 down");
    tell("link eth0 down");
    tell("emit StatusChange eth0 false");
    tell("emit LinkStatusChange eth0 false");
    tell("emit RemovedIPv4Address eth0 192.0.2.1");
    tell("emit RemovedIPv6Address eth0 2001:db8::1 64");
    settle();
    for (const auto& [sColumn, sValue] : std::map<std::string, std::string>{
             {"Addr", "0.0.0.0"}, {"MTU", "0"}, {"IsUp", "0"}, {"IsLinkUp", "0"}, {"IPv6GlobalAddrs", "0"}}) {
        EXPECT_EQ(sValue, watched("eth0", sColumn.c_str())) << sColumn;
    }
    EXPECT_EQ("result 9", at("StatusNetIfIPv6Addresses", "Name", "eth0", "Addr"));
    for (const char* pColumn :
         {"Up", "Down", "LinkUp", "LinkDown", "IPv4AddrNew", "IPv4AddrRem", "IPv6AddrNew", "IPv6AddrRem"}) {
        EXPECT_EQ("1", counted("eth0", pColumn)) << pColumn;
    }
}

TEST_F(Status, RoutesAreReadAgainOnceWhateverTheNumberOfSignals)
{
    setProgram("ip", "echo \"$*\" >> " + m_oSandbox.path("calls") + "; PATH=${PATH#*:} exec ip \"$@\"");
    const auto oCalls = [this] { return readFile(m_oSandbox.path("calls")); };
    ip("link set eth0 up");
    startDaemon();
    EXPECT_EQ("-4 -j route list\n-6 -j route list\n", oCalls());
    EXPECT_EQ(0U, count("RouteIPv4"));

    ip("address add 192.0.2.1/24 dev eth0");
    ip("route add 198.51.100.0/24 via 192.0.2.9 metric 7");
    ip("route add 2001:db8:1::/48 dev eth0");
    daemon().signal(SIGSTOP); // so that it finds the ten at once
    tell("storm 10 NewIPv4Route eth0 24 198.51.100.0 192.0.2.9 '' 7");
    tell("emit NewIPv6Route eth0 48 2001:db8:1:: ''");
    EXPECT_EQ(0, netsim({"emit", "LinkStatusChange", "settle", "true"}).m_iStatus);
    daemon().signal(SIGCONT);
    await("192.0.2.9", [&] { return at("RouteIPv4", "Destination", "198.51.100.0/24", "Gateway"); });
    EXPECT_EQ("7", at("RouteIPv4", "Destination", "198.51.100.0/24", "Metric"));
    EXPECT_EQ("eth0", at("RouteIPv6", "Destination", "2001:db8:1::/48", "Interface"));

    ip("route del 198.51.100.0/24");
    tell("emit RemovedIPv4Route eth0 24 198.51.100.0 192.0.2.9 '' 7");
    await("result 10", [&] { return at("RouteIPv4", "Destination", "198.51.100.0/24", "Id"); });
    EXPECT_EQ("-4 -j route list\n-6 -j route list\n-4 -j route list\n-6 -j route list\n-4 -j route list\n",
              oCalls());
}

TEST_F(Status, LeasesFollowTheirSignals)
{
    startDaemon();
    Client oWatcher(socket());
    ASSERT_TRUE(oWatcher.subscribe({"DhcpLeases", "DhcpServerClients"}).ok());
    const auto oLease = [this](const char* a_pTable, const char* a_pColumn) {
        return at(a_pTable, "IpAddress", "192.0.2.5", a_pColumn);
    };
    tell("emit DhcpLeaseAdded 192.0.2.5 02:00:00:00:00:05 'the phone' maker 100");
    tell("emit DhcpLeaseAdded 192.0.2.6 02:00:00:00:00:06 '' '' 4294967295");
    settle();
    EXPECT_EQ("the phone", oLease("DhcpLeases", "HostName"));
    EXPECT_EQ(0U, count("DhcpServerClients"));

    tell("emit DhcpLeaseUpdated 192.0.2.5 02:00:00:00:00:05 phone '' 200");
    tell("emit DhcpLeaseAcked 192.0.2.6 02:00:00:00:00:06 '' '' 300");
    settle();
    EXPECT_EQ("200", oLease("DhcpLeases", "Expires"));
    EXPECT_EQ("300", at("DhcpServerClients", "MacAddress", "02:00:00:00:00:06", "Expires"));

    tell("emit DhcpLeaseDeleted 192.0.2.5 02:00:00:00:00:05 '' '' 0");
    tell("emit DhcpLeaseDeleted 192.0.2.6 02:00:00:00:00:06 '' '' 0");
    settle();
    EXPECT_EQ(0U, count("DhcpLeases"));
    EXPECT_EQ(0U, count("DhcpServerClients"));
    EXPECT_THAT(oWatcher.changes(), testing::Each("DhcpLeases"));
}

TEST_F(Status, StartsWithoutABus)
{
    m_oBus.stop();
    startDaemon();
    EXPECT_EQ("0", watched("eth0", "IsLinkUp"));
    EXPECT_TRUE(eventually([this] { return times("No connection to the system bus") == 1; }));
    m_oBus.start();
    serve({"--stay"});
    EXPECT_TRUE(eventually([this] { return times("Connected to the system bus") == 1; }));
    settle();
    EXPECT_EQ(1U, times("No connection to the system bus"));
}

} // namespace
} // namespace e2e
