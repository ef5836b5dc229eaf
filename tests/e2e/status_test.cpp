// The live-status tables of a daemon among network services and a kernel that tests may change.
#include "tests/e2e/nettest.h"
#include "tools/signals.h"

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

TEST_F(Status, RoutesOfABrokenTool)
{
    const auto oPrint = [this](const std::string& a_sJson) {
        writeFile(m_oSandbox.path("routes"), a_sJson);
        setProgram("ip", "echo x >> " + m_oSandbox.path("calls") + "; cat " + m_oSandbox.path("routes"));
    };
    oPrint(R"([{"dst":"default"}])");
    startDaemon();
    EXPECT_EQ(1U, count("RouteIPv4"));

    const std::string sLong = R"([{"dst":"default","dev":")" + std::string(10240, 'x') + R"("}])";
    tell("emit NewIPv4Route a 1 b c d 2");
    for (const auto& sJson : {std::string("garbage"), std::string("{}"), std::string(), sLong}) {
        oPrint(sJson);
        const std::string sCalls = readFile(m_oSandbox.path("calls"));
        // Each update tries again, which one signal is enough for.
        EXPECT_TRUE(eventually([&] { return readFile(m_oSandbox.path("calls")) != sCalls; })) << sJson;
        EXPECT_EQ(0U, count("RouteIPv4")) << sJson;
    }
    EXPECT_EQ(0U, times("ZEL_Execute_Command failed"));
    setProgram("ip", "exit 3");
    EXPECT_TRUE(eventually([this] { return times("ZEL_Execute_Command failed with 3") > 0; }));
    setProgram("ip", "exec no-such-program");
    EXPECT_TRUE(eventually([this] { return times("ZEL_Execute_Command failed with 127") > 0; }));

    oPrint(R"([{"gateway":"192.0.2.1"},[[{"dst":"nested"}]],{"dst":{"dst":"deep"}},)"
           R"({"dst":"192.0.2.0/24","metric":"7","dev":["eth0"]}])");
    await("1", [this] { return std::to_string(count("RouteIPv4")); });
    EXPECT_EQ("4", at("RouteIPv4", "Destination", "192.0.2.0/24", "Id"));
    EXPECT_EQ("0", at("RouteIPv4", "Destination", "192.0.2.0/24", "Metric"));
    EXPECT_EQ("", at("RouteIPv4", "Destination", "192.0.2.0/24", "Interface"));
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
    EXPECT_EQ("0", oLease("DhcpLeases", "Acked"));
    EXPECT_EQ(0U, count("DhcpServerClients"));

    tell("emit DhcpLeaseUpdated 192.0.2.5 02:00:00:00:00:05 phone '' 200");
    tell("emit DhcpLeaseAcked 192.0.2.6 02:00:00:00:00:06 '' '' 300");
    settle();
    EXPECT_EQ("maker", oLease("DhcpLeases", "Vendor"));
    EXPECT_EQ("200", oLease("DhcpLeases", "Expires"));
    EXPECT_NE("0", at("DhcpLeases", "MacAddress", "02:00:00:00:00:06", "Acked"));
    EXPECT_EQ("300", at("DhcpServerClients", "MacAddress", "02:00:00:00:00:06", "Expires"));

    tell("emit DhcpLeaseDeleted 192.0.2.5 02:00:00:00:00:05 '' '' 0");
    tell("emit DhcpLeaseDeleted 192.0.2.6 02:00:00:00:00:06 '' '' 0");
    settle();
    EXPECT_EQ(0U, count("DhcpLeases"));
    EXPECT_EQ(0U, count("DhcpServerClients"));
    EXPECT_THAT(oWatcher.changes(), testing::Each("DhcpLeases"));
}

TEST_F(Status, ABurstIsCountedWithinTwoUpdates)
{
    startDaemon();
    settle();
    RawClient oWatcher(socket());
    EXPECT_EQ(0U, oWatcher.ask(request::Subscribe{{"NetifCounter"}}));
    daemon().signal(SIGSTOP);
    EXPECT_EQ(0, netsim({"emit", "--count", "1000", "StatusChange", "eth0", "true"}).m_iStatus);
    daemon().signal(SIGCONT);
    await("1000", [&] { return counted("eth0", "Up"); });
    settle(); // one more update, which counts, too
    int iUpdates = 0;
    for (; oWatcher.hasInput(); ++iUpdates) {
        oWatcher.receive();
    }
    EXPECT_THAT(iUpdates, testing::AllOf(testing::Ge(1), testing::Le(3)));
}

TEST_F(Status, BadSignalsAreRefusedAndGoodOnesCountOn)
{
    setProgram("ip", "echo '[]'; echo x >> " + m_oSandbox.path("calls"));
    startDaemon();
    const auto oCalls = [this] { return readFile(m_oSandbox.path("calls")); };
    const std::string sCalls = oCalls();
    const unsigned iDevices = count("NetifCounter");
    for (const auto& oSignal : zel::netsim::signals()) {
        const std::string sBad = std::string("bad ") + oSignal.m_pName;
        tell(sBad + " ''");
        tell(sBad + " d 1");
        tell(sBad + " " + oSignal.m_pTypes[0] + " 7");                   // the others are missing
        tell(sBad + " " + oSignal.m_pTypes[0] + "dddddd 7 1 2 3 4 5 6"); // and are of other types, too many
    }
    settle();
    EXPECT_EQ(iDevices + 1, count("NetifCounter")); // with the device of settle
    EXPECT_EQ(0U, count("DhcpLeases") + count("DhcpServerClients"));
    EXPECT_EQ(sCalls, oCalls());

    // What follows the arguments that are expected does not matter.
    tell("bad StatusChange sbsd eth0 true more 1");
    tell("emit DhcpLeaseAcked 192.0.2.5 02:00:00:00:00:05 '' '' 1");
    tell("emit NewIPv4Route a 1 b c d 2");
    settle();
    EXPECT_EQ("1", counted("eth0", "Up"));
    EXPECT_EQ(1U, count("DhcpLeases"));
    EXPECT_EQ(sCalls + "x\n", oCalls());
    EXPECT_EQ(1U, times("Signals of uk.org.thekelleys.dnsmasq are refused"));
}

TEST_F(Status, OutlivesTheBus)
{
    startDaemon();
    tell("emit StatusChange eth0 true");
    await("1", [this] { return counted("eth0", "Up"); });
    m_oBus.stop();
    EXPECT_EQ(69, WEXITSTATUS(services().wait().value_or(0)));
    EXPECT_TRUE(eventually([this] { return times("Lost the connection to the system bus") == 1; }));
    EXPECT_EQ("1", counted("eth0", "Up"));

    m_oBus.start();
    const auto oBegin = std::chrono::steady_clock::now();
    serve({"--stay"});
    tell("link eth0 up");
    EXPECT_TRUE(eventually([this] {
        EXPECT_EQ(0, netsim({"emit", "StatusChange", "eth0", "true"}).m_iStatus);
        return counted("eth0", "Up") != "1";
    }));
    EXPECT_LT(std::chrono::steady_clock::now() - oBegin, 10s);
    EXPECT_EQ("1", watched("eth0", "IsLinkUp"));
    EXPECT_EQ(1U, times("Lost the connection to the system bus"));
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

TEST_F(Status, AServiceThatNeverAnswersHoldsNobodyUp)
{
    serve({"--stay", "--silent", "InterfaceStatus"});
    startDaemon();
    std::chrono::steady_clock::duration oLongest{};
    EXPECT_TRUE(eventually([&] {
        const auto oBegin = std::chrono::steady_clock::now();
        EXPECT_EQ(0U, client().code(request::Ping{}));
        oLongest = std::max(oLongest, std::chrono::steady_clock::now() - oBegin);
        return times("GetLinkStatusForDevice() failed for") >= count("StatusNetifWatch");
    }));
    EXPECT_LT(oLongest, 1s); // one short wait, not one for each of the devices
    EXPECT_EQ("0", watched("eth0", "IsLinkUp"));

    tell("link eth0 up"); // which nobody can ask for yet
    tell("emit LinkStatusChange eth0 true");
    settle();
    EXPECT_EQ("0", watched("eth0", "IsLinkUp"));
    serve({"--stay"});
    tell("link eth0 up");
    tell("emit LinkStatusChange eth0 true");
    await("1", [&] { return watched("eth0", "IsLinkUp"); });
}

} // namespace
} // namespace e2e
