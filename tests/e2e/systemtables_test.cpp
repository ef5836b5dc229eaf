// The live tables from the kernel, from tools and from files, of a daemon among real connections, packet
// filters, tunnels and files.
#include "tests/e2e/nettest.h"

#include <csignal>
#include <filesystem>
#include <sys/socket.h>

namespace fs = std::filesystem;

namespace e2e {
namespace {

using zel::UniqueFd;

/// A gateway with a home network, on which there is a desk, and an address of its own that is not on it.
class SystemTables : public NetTest
{
protected:
    void SetUp() override
    {
        NetTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        ip("link add br0 type veth peer name desk");
        ip("link set desk netns " + m_oDesk.path());
        ip("address add 192.168.1.1/24 broadcast + label br0:1 dev br0");
        ip("address add 203.0.113.9 dev lo");
        ip("link set br0 up");
        m_oDesk.ip("address add 192.168.1.20/24 dev desk");
        m_oDesk.ip("link set desk up");
        m_oDesk.ip("route add default via 192.168.1.1");
        serve({"--stay"});
    }

    /// Sends a packet, or opens a connection, and keeps it.
    void connect(const NetworkNamespace& a_oFrom, int a_iType, const char* a_pFrom, std::uint16_t a_iFromPort,
                 const char* a_pTo, std::uint16_t a_iToPort)
    {
        m_lSockets.push_back(a_oFrom.bindSocket(a_iType, a_pFrom, a_iFromPort));
        const sockaddr_in oTo = inetAddress(a_pTo, a_iToPort);
        const int iSocket = m_lSockets.back().get();
        EXPECT_EQ(0, ::connect(iSocket, reinterpret_cast<const sockaddr*>(&oTo), sizeof oTo));
        EXPECT_EQ(1, ::send(iSocket, "x", 1, 0));
    }
    void listen(const char* a_pAddress, std::uint16_t a_iPort)
    {
        m_lSockets.push_back(m_oNamespace.bindSocket(SOCK_STREAM, a_pAddress, a_iPort));
        EXPECT_EQ(0, ::listen(m_lSockets.back().get(), 1));
    }

    std::string connection(const char* a_pSrcPort, const char* a_pColumn)
    {
        return at("IpConntrack", "SrcPort", a_pSrcPort, a_pColumn);
    }

    const NetworkNamespace m_oDesk;
    std::vector<UniqueFd> m_lSockets;
};

/// The same with packet filters, if the kernel has them.
class FilteredTables : public SystemTables
{
protected:
    void SetUp() override
    {
        SystemTables::SetUp();
        // Connections are followed once a rule asks for them.
        if (!IsSkipped() && m_oNamespace
                                    .run("iptables -A INPUT -m conntrack --ctstate INVALID -j DROP &&"
                                         "test -r /proc/net/nf_conntrack")
                                    .m_iStatus != 0) {
            GTEST_SKIP() << "this kernel does not filter packets by their connections";
        }
    }
};

TEST_F(FilteredTables, ConnectionsFromTheHomeNetwork)
{
    listen("203.0.113.9", 8080);
    listen("192.168.1.1", 8080);
    connect(m_oNamespace, SOCK_DGRAM, "203.0.113.9", 40004, "203.0.113.9", 9); // from elsewhere
    startDaemon();
    EXPECT_EQ("udp", connection("40004", "Protocol"));

    connect(m_oDesk, SOCK_STREAM, "192.168.1.20", 40001, "203.0.113.9", 8080);
    connect(m_oDesk, SOCK_DGRAM, "192.168.1.20", 40002, "203.0.113.9", 9);
    connect(m_oDesk, SOCK_STREAM, "192.168.1.20", 40003, "192.168.1.1", 8080); // the gateway's own
    // What comes within five seconds of the reading is seen later.
    EXPECT_EQ("result 10", connection("40001", "Protocol"));
    // The daemon learns the network's address when it is told that the devices changed, and not before.
    Client oWatcher(socket());
    ASSERT_TRUE(oWatcher.subscribe({"StatusNetifWatch"}).ok());
    tell("emit StatusChange br0 true");
    ASSERT_TRUE(oWatcher.waitForChange(c_oDeadline)->has_value());
    await("tcp", [&] { return connection("40001", "Protocol"); });

    EXPECT_THAT(client().rows("IpConntrack", {"SrcAddress", "SrcPort", "DstAddress", "DstPort", "Protocol",
                                              "ProtocolNumber", "State", "Unreplied", "Assured"}),
                UnorderedElementsAre("192.168.1.20 40001 203.0.113.9 8080 tcp 6 ESTABLISHED 0 1",
                                     "192.168.1.20 40002 203.0.113.9 9 udp 17  1 0"));
}

TEST_F(FilteredTables, PacketsThatTheZonesTookAndDropped)
{
    const auto cell = [this](const char* a_pColumn) {
        return at("FirewallStatistic", "Chain", "wanInput", a_pColumn);
    };
    m_oNamespace.shell("iptables -N wanInput && iptables -A INPUT -j wanInput &&"
                       "iptables -A wanInput -p udp --dport 9 -j ACCEPT &&"
                       "iptables -A wanInput -p udp --dport 10 -j DROP &&"
                       "iptables -N wanInput2 && iptables -A wanInput2 -j ACCEPT");
    // A client's text never becomes a command of the tool's user.
    const std::string sVictim = m_oSandbox.path("victim");
    startDaemon();
    for (const std::string& sZone :
         {"x;touch " + sVictim + ";", "$(touch " + sVictim + ")", std::string("-Z wan")}) {
        EXPECT_EQ(0U, client().code(request::InsertRow{"FirewallZones", row({{"ZoneName", sZone.c_str()}})}));
    }
    EXPECT_EQ("0", cell("PktAccept"));
    for (const std::uint16_t iPort : {9, 9, 10}) {
        connect(m_oDesk, SOCK_DGRAM, "192.168.1.20", 0, "203.0.113.9", iPort);
    }
    EXPECT_EQ("2", cell("PktAccept"));
    EXPECT_EQ("1", cell("PktDrop"));
    EXPECT_EQ(1U, client().count("FirewallStatistic")); // the other zones have no chain
    EXPECT_FALSE(fs::exists(sVictim));
}

TEST_F(SystemTables, ZonesThatTogetherTakeOverASecondAreReadWithARunEachAndHoldUpNobody)
{
    const std::string sRuns = m_oSandbox.path("runs");
    m_oSandbox.setProgram("iptables", "echo \"$2 $RES_OPTIONS\" >> " + sRuns +
                                          "; case $2 in lanInput) sleep 0.6;; *) sleep 0.12;; esac;"
                                          "echo \"Chain $2 (1 references)\"");
    startDaemon();
    for (const char cZone : std::string("abcdefgh")) {
        const std::string sZone(1, cZone);
        EXPECT_EQ(0U, client().code(request::InsertRow{"FirewallZones", row({{"ZoneName", sZone.c_str()}})}));
    }
    std::string sEachOnce;
    for (const auto& sZone : client().rows("FirewallZones", {"ZoneName"})) {
        sEachOnce += sZone + "Input timeout:1 attempts:1\n";
    }
    Client oWatcher(socket());
    ASSERT_TRUE(oWatcher.subscribe({"Scratch"}).ok());
    RawClient oReader(socket());
    const auto oLimit = 1s * (c_bSanitized ? 3 : 1);
    writeFile(sRuns, "");
    oReader.send(frameOf(request::SelectRows{"FirewallStatistic"}));
    unsigned iServed = 0;
    for (; !oReader.hasInput(); ++iServed) {
        const auto oBegin = std::chrono::steady_clock::now();
        EXPECT_EQ(0U, client().code(request::InsertRow{"Scratch", row({{"Text", "new"}})}));
        EXPECT_LT(std::chrono::steady_clock::now() - oBegin, oLimit);
        EXPECT_TRUE(oWatcher.waitForChange(2 * oLimit)->has_value());
    }
    EXPECT_EQ(0U, oReader.receiveLast());
    EXPECT_GT(iServed, 10U);
    EXPECT_EQ(sEachOnce, readFile(sRuns));

    oReader.send(repeat(frameOf(request::SelectRows{"FirewallStatistic"}), 10));
    const auto oBegin = std::chrono::steady_clock::now();
    daemon().signal(SIGTERM);
    EXPECT_EQ(0, daemon().wait());
    EXPECT_LT(std::chrono::steady_clock::now() - oBegin, 2 * oLimit);
}

TEST_F(SystemTables, AToolThatHangsHoldsUpNobody)
{
    startDaemon();
    m_oSandbox.setProgram("iptables", "trap '' TERM; exec sleep 600");
    RawClient oReader(socket());
    oReader.send(repeat(frameOf(request::GetSize{"FirewallStatistic"}), 5));
    const auto oBegin = std::chrono::steady_clock::now();
    EXPECT_EQ(0U, client().code(request::InsertRow{"Scratch", row({{"Text", "new"}})}));
    EXPECT_LT(std::chrono::steady_clock::now() - oBegin, 1s * (c_bSanitized ? 3 : 1));
    for (int i = 0; i < 5; ++i) {
        const auto oReply = oReader.receive();
        EXPECT_TRUE(oReply && oReply->m_iCode == 1);
    }
    // It would take three seconds for each, were it not left alone.
    EXPECT_LT(std::chrono::steady_clock::now() - oBegin, 5s * (c_bSanitized ? 2 : 1));
}

TEST_F(SystemTables, PppLinesAndWhatTheProviderSays)
{
    const auto line = [&](const char* a_pColumn) { return at("PppStatus", "Interface", "ppp0", a_pColumn); };
    const std::string sMessage = m_oSandbox.path("var/run/ppp-auth-message.ppp0");
    fs::create_directories(m_oSandbox.path("etc/ppp/peers"));
    writeFile(m_oSandbox.path("etc/ppp/peers/pppoe0"),
              "noauth\nuser \"anna@example\"\npassword secret phrase\n");
    startDaemon();
    const std::string sDown = line("StatusDesc");
    EXPECT_EQ("anna@example", line("User"));
    EXPECT_EQ("secret", line("Password"));
    EXPECT_EQ("", line("PostAuthMessage"));

    ip("tuntap add ppp0 mode tun");
    ip("address add 198.51.100.7 peer 198.51.100.1 dev ppp0");
    ip("link set ppp0 up");
    writeFile(sMessage, "SRU=1024#SRD=16000#\n");
    EXPECT_NE(sDown, line("StatusDesc"));
    EXPECT_EQ("16000", line("PostAuthDownstream"));

    // A transaction sees one state.
    EXPECT_EQ(0U, client().code(request::Begin{}));
    EXPECT_EQ("1024", line("PostAuthUpstream"));
    writeFile(sMessage, "UI-SBR:8000,512;\n");
    EXPECT_EQ("1024", line("PostAuthUpstream"));
    EXPECT_EQ(0U, client().code(request::Commit{}));
    EXPECT_EQ("512", line("PostAuthUpstream"));
    EXPECT_EQ(std::string::npos, daemon().errors().find("secret"));
}

TEST_F(FilteredTables, NamesThatTheForwarderKnows)
{
    const auto host = [&](const char* a_pColumn) {
        return at("DnsCache", "Host", "host.example", a_pColumn);
    };
    const auto address = [&] { return host("Address"); };
    serve({"--stay", "--dnsmasq"});
    tell("cache dnsmasq.cache 'A F 4 x host.example 192.0.2.7 300' 'A F 6 x other.example 2001:db8::7 60'");
    tell("cache a.cache.0 'A F 4 x first.example 192.0.2.8 5'");
    startDaemon();
    await("192.0.2.7", address);
    EXPECT_EQ("2", host("Instance")); // one count over all files, in the order of their names

    // A transaction sees one state, however long it takes: longer than the list of connections is kept.
    EXPECT_EQ(0U, client().code(request::Begin{}));
    EXPECT_EQ("192.0.2.7", address());
    tell("cache dnsmasq.cache 'A F 4 x host.example 192.0.2.9 300'");
    client().count("IpConntrack");
    connect(m_oDesk, SOCK_DGRAM, "192.168.1.20", 40006, "203.0.113.9", 9);
    await("udp", [&] { return connection("40006", "Protocol"); });
    EXPECT_EQ("192.0.2.7", address());
    EXPECT_EQ(0U, client().code(request::Commit{}));

    // Whatever becomes of the forwarder, what was read last is served, and nobody waits for long.
    const std::vector<std::pair<std::vector<std::string>, std::string>> lFaults{
        {{"--stay", "--dnsmasq", "--dump-fails"}, "the cache cannot be dumped"},
        {{"--stay"}, "not provided"},
        {{"--stay", "--dnsmasq", "--silent", "dnsmasq"}, "does not answer"}};
    for (const auto& [lOptions, sError] : lFaults) {
        serve(lOptions);
        EXPECT_TRUE(eventually([&] {
            EXPECT_EQ("192.0.2.7", address());
            const std::string sLog = daemon().errors();
            const auto iError = sLog.rfind("Could not dump cache: ");
            return iError != std::string::npos && sLog.find(sError, iError) != std::string::npos;
        })) << sError
            << ": " << daemon().errors();
    }
    serve({"--stay", "--dnsmasq"});
    tell("cache dnsmasq.cache 'A F 4 x host.example 192.0.2.9 300'");
    tell("emit DhcpLeaseAdded 192.168.1.20 02:00:5e:10:00:20 desk '' 86400"); // it lives
    await("192.0.2.9", address);
}

class MappedFiles : public DaemonTest
{
protected:
    std::string file(const std::string& a_sName) const { return m_oSandbox.path("etc/" + a_sName); }
    std::vector<std::string> rows(const std::string& a_sName) { return client().rows(file(a_sName)); }
};

TEST_F(MappedFiles, FollowTheirFiles)
{
    const std::vector<std::string> lNames{"rewritten", "replaced", "deleted", "late/created"};
    fs::create_directories(file(""));
    std::vector<std::string> lOptions;
    NameList lTables;
    for (const auto& sName : lNames) {
        lOptions.insert(lOptions.end(), {"-m", file(sName)});
        lTables.add(file(sName));
        if (sName != "late/created") {
            writeFile(file(sName), "Name Colour State\npower green on\nline red\n");
        }
    }
    const auto oBegin = ElementsAre("1 power green on", "2 line red ");
    start(lOptions);
    EXPECT_THAT(rows("replaced"), oBegin);
    EXPECT_THAT(rows("late/created"), IsEmpty());
    ASSERT_TRUE(client().subscribe(lTables).ok());

    writeFile(file("rewritten"), "Name Colour State\npower green off\n"); // one line fewer
    writeFile(file("new"), "Key\na\nb\n");
    fs::rename(file("new"), file("replaced"));
    fs::remove(file("deleted"));
    fs::create_directory(file("late"));
    writeFile(file("late/created"), "Mode\nbridge\n");
    EXPECT_EQ(std::set<std::string>(lTables.begin(), lTables.end()), client().awaitChanges(4));
    EXPECT_THAT(rows("rewritten"), ElementsAre("1 power green off"));
    EXPECT_THAT(rows("replaced"), ElementsAre("1 a", "2 b"));
    EXPECT_THAT(rows("deleted"), IsEmpty());
    EXPECT_THAT(rows("late/created"), ElementsAre("1 bridge"));
    EXPECT_EQ(4U, client().code(request::DeleteAll{file("replaced")}));
}

} // namespace
} // namespace e2e
