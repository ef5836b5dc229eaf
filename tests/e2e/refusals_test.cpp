// Why a write was refused, as the daemon tells the client whose write it was.
#include "tests/e2e/daemontest.h"

namespace e2e {
namespace {

class RefusedWrite : public DaemonTest
{
protected:
    RefusedWrite()
    {
        m_oSandbox.sql(
            "transient.db",
            "CREATE TABLE Bound (Id INTEGER PRIMARY KEY, Port INTEGER CONSTRAINT known_port CHECK "
            "(Port < 65536), Secret TEXT CHECK (Secret NOT IN ('" +
                repeat("ä", 400) +
                "')));"
                "CREATE TABLE Later (Id INTEGER PRIMARY KEY, BoundId INTEGER REFERENCES Bound(Id) "
                "DEFERRABLE INITIALLY DEFERRED);"
                "CREATE TABLE Needs (Id INTEGER PRIMARY KEY, A TEXT NOT NULL, B TEXT NOT NULL DEFAULT "
                "'b', C INTEGER NOT NULL REFERENCES Parent(Id) ON DELETE RESTRICT, D TEXT);"
                "CREATE TABLE Pair (Id INTEGER PRIMARY KEY, A INTEGER, B TEXT, UNIQUE (A, B));"
                "CREATE TABLE OfPair (Id INTEGER PRIMARY KEY, PairA INTEGER, PairB TEXT DEFAULT "
                "'none', FOREIGN KEY (PairA, PairB) REFERENCES Pair(A, B));"
                "CREATE TABLE Parent (Id INTEGER PRIMARY KEY, Text TEXT); INSERT INTO Parent VALUES (1, ''); "
                "INSERT INTO Needs VALUES (1, 'a', 'b', 1, ''), (2, 'a', 'b', 1, NULL);"
                "INSERT INTO Pair VALUES (1, 5, 'x'); INSERT INTO OfPair VALUES (1, 5, 'x');");
        start();
    }

    /// What ledgerctl says of a command that is refused.
    std::string errorOf(std::vector<std::string> a_lArguments, const std::string& a_sInput = {})
    {
        const Finished oRun = ledgerctl(std::move(a_lArguments), a_sInput);
        EXPECT_NE(0, oRun.m_iStatus);
        EXPECT_EQ("", oRun.m_sOutput);
        return oRun.m_sErrors;
    }
};

TEST_F(RefusedWrite, NoAddressOfTheNetworkIsAnyText)
{
    const auto expectRefused = [this](const std::vector<std::string>& a_lArguments,
                                      const std::string& a_sFault) {
        EXPECT_EQ("ledgerctl: constraint violated: " + a_sFault + " [6]\n", errorOf(a_lArguments));
    };
    expectRefused({"set", "DhcpStaticLease", "--row", "0", "IpAddress=not-an-ip"},
                  "IpAddress is no IPv4 address");
    expectRefused({"add", "DhcpStaticLease", "MacAddress=02:00:5e:10:00:2g", "IpAddress=192.168.1.9"},
                  "MacAddress is no MAC address");
    expectRefused({"set", "StaticRoute", "--row", "0", "Destination=999.1.1.1"},
                  "Destination, Netmask or Gateway is no IPv4 address");
    expectRefused({"set", "LanBridge", "--row", "0", "Netmask=255.0.255.0"}, "Netmask is no netmask");
    expectRefused({"add", "DnsServer", "Address=foo"}, "Address is no IP address");
    expectRefused({"set", "PortForwarding", "--row", "0", "InternalAddress=1.2.3"},
                  "InternalAddress is no IPv4 address");
    EXPECT_EQ(0, ledgerctl({"add", "DnsServer", "Address=2001:db8::54"}).m_iStatus);
    EXPECT_EQ(0, ledgerctl({"set", "DhcpStaticLease", "--row", "0", "IpAddress=192.168.1.254"}).m_iStatus);
}

TEST_F(RefusedWrite, SaysWhichConstraintIsViolated)
{
    const std::string sPolicy = "ledgerctl: constraint violated: CHECK constraint failed: DefaultPolicy IN "
                                "('ACCEPT', 'DROP', 'REJECT') [6]\n";
    EXPECT_EQ(sPolicy, errorOf({"set", "FirewallZones", "--row", "0", "DefaultPolicy=ALLOW"}));
    EXPECT_EQ("ledgerctl: constraint violated: UNIQUE constraint failed: Item.Name [6]\n",
              errorOf({"add", "Item", "Name=pear"}));
    EXPECT_EQ("ledgerctl: constraint violated: NOT NULL constraint failed: Item.Name [6]\n",
              errorOf({"set", "Item", "--key", "Id=1", "Name:null"}));
    EXPECT_EQ(
        "ledgerctl: constraint violated: FOREIGN KEY constraint failed; referred to by ItemPart.ItemId [6]\n",
        errorOf({"del", "Item", "--key", "Id=2"}));
    EXPECT_EQ("ledgerctl: constraint violated: CHECK constraint failed: known_port [6]\n",
              errorOf({"add", "Bound", "Port=65536"}));
    EXPECT_EQ("ledgerctl: constraint violated: Id has to be a number other than 0 [6]\n",
              errorOf({"add", "Item", "Id=0", "Name=new"}));
    EXPECT_EQ("ledgerctl: constraint violated: a new rule has to name every column [6]\n",
              errorOf({"add", "Tz", "Start=x"}));
    // Also of the first of many that are under way.
    EXPECT_EQ("ledgerctl: line 2: constraint violated: CHECK constraint failed: known_port [6]\n",
              errorOf({"batch"}, "add Item Name=one\nadd Bound Port=70000\nadd Item Name=pear\n"));
    EXPECT_EQ("ledgerctl: constraint violated: FOREIGN KEY constraint failed [6]\n",
              errorOf({"batch"}, "add Later BoundId=99\n"))
        << "by the commit";
    EXPECT_EQ("ledgerctl: table \"Bound\": rows[0], Id 7: constraint violated: CHECK constraint failed: "
              "known_port [6]\n",
              errorOf({"import"}, R"({"Bound":{"rows":[{"Id":7,"Port":70000}]}})"));
}

TEST_F(RefusedWrite, NamesEveryColumnWithoutAValueAndTheRowThatIsMissing)
{
    const std::string sEmpty = "NOT NULL constraint failed: ";
    const std::string sForeign = "FOREIGN KEY constraint failed";
    const std::string sNoZone = "FirewallRule.ZoneId=777: no such row in FirewallZones";
    struct Case
    {
        std::string m_sText;
        std::vector<std::string> m_lArguments;
        const char* m_pInput = "";
    };
    const Case aCases[] = {
        {sEmpty + "Needs.A; values are needed for A, C", {"add", "Needs", "D=d"}},
        {sEmpty + "Needs.B; values are needed for B, C", {"add", "Needs", "A=a", "B:null"}},
        {sEmpty + "Needs.C", {"add", "Needs", "A=a"}},
        {sEmpty + "Needs.A; values are needed for A, B", {"set", "Needs", "--row", "0", "B:null", "A:null"}},
        {sForeign + "; " + sNoZone, {"add", "FirewallRule", "ZoneId=777"}},
        {sForeign + "; " + sNoZone, {"set", "FirewallRule", "--key", "Id=1", "ZoneId=777"}},
        {sForeign + "; OfPair(PairA, PairB)=7, none: no such row in Pair", {"add", "OfPair", "PairA=7"}},
        {sForeign + "; OfPair(PairA, PairB)=5, y: no such row in Pair",
         {"set", "OfPair", "--row", "0", "PairB=y"}},
        {sForeign + "; referred to by ItemPart.ItemId", {"set", "Item", "--key", "Id=2", "Id=20"}},
        {sForeign + "; referred to by Needs.C", {"del", "Parent", "--key", "Id=1"}},
        {sEmpty + "Needs.A", {"set", "Needs", "--key", "D:null", "A:null"}},
        {sForeign + "; referred to by WanConnection.VlanId",
         {"del", "Vlan", "--key", "Id=1"}}, // not by ports
        // A zone that the batch itself has made is there no more, but was.
        {sForeign,
         {"batch"},
         "add FirewallZones Id=50 ZoneName=new\nadd FirewallRule ZoneId=50\nadd FirewallRule ZoneId=777\n"},
        {sForeign + "; " + sNoZone, {"batch"}, "add Item Name=new\nadd FirewallRule ZoneId=777\n"},
    };
    for (const auto& [sText, lArguments, pInput] : aCases) {
        EXPECT_THAT(errorOf(lArguments, pInput), EndsWith("constraint violated: " + sText + " [6]\n"));
    }
}

TEST_F(RefusedWrite, TellsAClientOnlyWhatItAskedForAndOnlyOfItsOwn)
{
    const std::string sAdd = frameOf(request::InsertRow{"Item", row({{"Name", "pear"}})});
    RawClient oSilent(socket());
    oSilent.send(sAdd);
    EXPECT_EQ(6U, oSilent.receive()->m_iCode) << "says why to the log";
    oSilent.send(frameOf(request::InsertRow{"Nonsense", {}}));
    RawClient oAsking(socket());
    EXPECT_EQ(0U, oAsking.ask(request::Explain{}));
    EXPECT_EQ("", oSilent.receive()->m_sBody);
    oAsking.send(frameOf(request::InsertRow{"Nonsense", {}}));
    EXPECT_EQ("", oAsking.receive()->m_sBody) << "there is no reason, and none left of another";
    oSilent.send(sAdd);
    EXPECT_EQ("", oSilent.receive()->m_sBody);

    const auto reason = [&](const ValueList& a_lRow, const char* a_pTable) {
        oAsking.send(frameOf(request::UpdateKey{a_pTable, "Id", "1", a_lRow}));
        const Frame oReply = *oAsking.receive();
        return std::to_string(oReply.m_iCode) + ' ' +
               oReply.m_sBody.substr(std::min<std::size_t>(oReply.m_sBody.size(), 4));
    };
    EXPECT_EQ("7 datatype mismatch", reason(row({{"Id", "sunrise-42"}}), "Item")) << "without the value";
    EXPECT_EQ(0U, client().code(request::InsertRow{"Bound", row({{"Id", 1}})}));
    const std::string sLong = reason(row({{"Secret", repeat("ä", 400).c_str()}}), "Bound");
    EXPECT_LE(sLong.size(), 2U + 512U);
    EXPECT_THAT(sLong, StartsWith("6 CHECK constraint failed: Secret NOT IN ('ä"));
    EXPECT_THAT(sLong, EndsWith("ä...")) << "cut, but in no character";
}

} // namespace
} // namespace e2e
