// The live-status tables of a daemon among network services and a kernel that tests may change.
#include "tests/e2e/nettest.h"

#include <csignal>

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

    bool hasLogged(const std::string& a_sText)
    {
        return eventually([&] { return daemon().errors().find(a_sText) != std::string::npos; });
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
    EXPECT_EQ(3U, oWatcher.awaitChanges(3).size());
    EXPECT_LT(std::chrono::steady_clock::now() - oBegin, c_oTwoUpdates);

    const NameList lColumns{"Name",   "Addr", "BroadAddr", "Netmask",        "MTU",
                            "HwAddr", "IsUp", "IsLinkUp",  "IPv6GlobalAddrs"};
    EXPECT_THAT(client().rows("StatusNetifWatch", lColumns),
                Contains("eth0 192.0.2.1 192.0.2.255 255.255.255.0 1400 02:00:00:00:00:01 1 1 1"));
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
    EXPECT_THAT(
        client().rows("StatusNetifWatch", {"Name", "Addr", "MTU", "IsUp", "IsLinkUp", "IPv6GlobalAddrs"}),
        Contains("eth0 0.0.0.0 0 0 0 0"));
    EXPECT_EQ("result 9", at("StatusNetIfIPv6Addresses", "Name", "eth0", "Addr"));
    EXPECT_THAT(client().rows("NetifCounter", {"Name", "Up", "Down", "LinkUp", "LinkDown", "IPv4AddrNew",
                                               "IPv4AddrRem", "IPv6AddrNew", "IPv6AddrRem"}),
                Contains("eth0 1 1 1 1 1 1 1 1"));
}

TEST_F(Status, RoutesAreReadAgainOnceWhateverTheNumberOfSignals)
{
    m_oSandbox.setProgram("ip",
                          "echo \"$*\" >> " + m_oSandbox.path("calls") + "; PATH=${PATH#*:} exec ip \"$@\"");
    const auto oCalls = [this] { return readFile(m_oSandbox.path("calls")); };
    ip("link set eth0 up");
    startDaemon();
    EXPECT_EQ("-4 -j route list\n-6 -j route list\n", oCalls());
    EXPECT_EQ(0U, client().count("RouteIPv4"));

    ip("address add 192.0.2.1/24 dev eth0");
    ip("route add 198.51.100.0/24 via 192.0.2.9 metric 7");
    ip("route add 2001:db8:1::/48 dev eth0");
    ip("route add blackhole default");
    ip("route add default via 192.0.2.9 metric 8");
    for (const char* pNowhere : {"unreachable 10.1.0.0/16", "prohibit 10.2.0.0/16", "throw 10.3.0.0/16"}) {
        ip(std::string("route add ") + pNowhere);
    }
    ip("-6 route add unreachable default");
    daemon().signal(SIGSTOP); // so that it finds the ten at once
    tell("storm 10 NewIPv4Route eth0 24 198.51.100.0 192.0.2.9 '' 7");
    tell("emit NewIPv6Route eth0 48 2001:db8:1:: ''");
    EXPECT_EQ(0, netsim({"emit", "LinkStatusChange", "settle", "true"}).m_iStatus);
    daemon().signal(SIGCONT);
    await("192.0.2.9", [&] { return at("RouteIPv4", "Destination", "198.51.100.0/24", "Gateway"); });
    EXPECT_EQ("7", at("RouteIPv4", "Destination", "198.51.100.0/24", "Metric"));
    await("eth0", [&] { return at("RouteIPv6", "Destination", "2001:db8:1::/48", "Interface"); });
    EXPECT_EQ("192.0.2.9", at("RouteIPv4", "Destination", "default", "Gateway"))
        << "not that of the blackhole";
    EXPECT_EQ("result 10", at("RouteIPv6", "Destination", "default", "Id"));
    EXPECT_EQ(3U, client().count("RouteIPv4")) << "routes that lead nowhere are left out";

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
    const auto leases = [this] { return client().rows("DhcpLeases", {"IpAddress", "HostName", "Expires"}); };
    tell("emit DhcpLeaseAdded 192.0.2.5 02:00:00:00:00:05 'the phone' maker 100");
    tell("emit DhcpLeaseAdded 192.0.2.6 02:00:00:00:00:06 '' '' 4000");
    settle();
    EXPECT_THAT(leases(), ElementsAre("192.0.2.5 the phone 100", "192.0.2.6  4000"));
    EXPECT_EQ(0U, client().count("DhcpServerClients"));

    tell("emit DhcpLeaseUpdated 192.0.2.5 02:00:00:00:00:05 phone '' 200");
    tell("emit DhcpLeaseAcked 192.0.2.6 02:00:00:00:00:06 '' '' 300");
    settle();
    EXPECT_THAT(leases(), ElementsAre("192.0.2.5 phone 200", "192.0.2.6  300"));
    EXPECT_EQ("300", at("DhcpServerClients", "MacAddress", "02:00:00:00:00:06", "Expires"));
    EXPECT_EQ(
        "ledgerctl: no row of DhcpLeases has that Acked [10]\n", // a column that its schema does not have
        ledgerctl({"get", "DhcpLeases", "--key", "Acked=none"}).m_sErrors);

    tell("emit DhcpLeaseDeleted 192.0.2.5 02:00:00:00:00:05 '' '' 0");
    tell("emit DhcpLeaseDeleted 192.0.2.6 02:00:00:00:00:06 '' '' 0");
    settle();
    EXPECT_THAT(leases(), IsEmpty());
    EXPECT_EQ(0U, client().count("DhcpServerClients"));
    EXPECT_THAT(oWatcher.changes(), Each("DhcpLeases"));
}

TEST_F(Status, ADeviceNameThatNoBusTakesHarmsNeitherTheDaemonNorOtherDevices)
{
    tell("link eth0 up");
    startDaemon();
    ASSERT_EQ(0U, client().code(request::InsertRow{"StatusNetifConfig", row({{"Name", "\xff\xfe"}})}));
    for (const bool bAtStart : {false, true}) {
        if (bAtStart) {
            stop();
            startDaemon(); // with the row that it had
        }
        EXPECT_TRUE(hasLogged("a text is not valid UTF-8"));
        await("0", [&] { return watched("\xff\xfe", "IsLinkUp"); });
        await("1", [&] { return watched("eth0", "IsLinkUp"); });
    }
}

TEST_F(Status, WhatWasThereBeforeTheServicesIsShownOnceTheyCome)
{
    services().signal(SIGKILL);
    startDaemon();
    const auto oFailures = [this] {
        const std::string sLog = daemon().errors();
        int iFailures = 0;
        for (std::size_t i = 0; (i = sLog.find("GetLinkStatusForDevice() failed", i)) != std::string::npos;
             ++i) {
            ++iFailures;
        }
        return iFailures;
    };
    EXPECT_TRUE(eventually([&] { return oFailures() > 0; }));
    ip("address add 192.0.2.1/24 dev eth0 label eth0:1");
    ip("link set eth0 up");
    ip("route add 198.51.100.0/24 via 192.0.2.9");
    ip("route add 2001:db8:1::/48 dev eth0");
    tell("link eth0 up"); // nobody sends a signal
    serve({"--stay"});
    await("1", [&] { return watched("eth0", "IsLinkUp"); });
    EXPECT_EQ("192.0.2.1", watched("eth0", "Addr"));
    await("192.0.2.9", [&] { return at("RouteIPv4", "Destination", "198.51.100.0/24", "Gateway"); });
    await("eth0", [&] { return at("RouteIPv6", "Destination", "2001:db8:1::/48", "Interface"); });
    EXPECT_EQ(1, oFailures());
}

TEST_F(Status, StartsWithoutABus)
{
    m_oBus.stop();
    startDaemon();
    EXPECT_EQ("0", watched("eth0", "IsLinkUp"));
    EXPECT_TRUE(hasLogged("No connection to the system bus"));
    EXPECT_THAT(logOf([&] {
                    m_oBus.start();
                    serve({"--stay"});
                    EXPECT_TRUE(hasLogged("Connected to the system bus"));
                    settle();
                }),
                Each(Not(HasSubstr("No connection"))));
}

} // namespace
} // namespace e2e
