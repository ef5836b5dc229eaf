// What every status table has in common. A table's deviations are listed with it, and one that no longer
// occurs fails the test as much as a new one.
#include "status/dhcpleases.h"
#include "status/dnscache.h"
#include "status/dslstatus.h"
#include "status/fileplugin.h"
#include "status/firewall.h"
#include "status/interfacecounter.h"
#include "status/interfaces.h"
#include "status/ipconntrack.h"
#include "status/iproute.h"
#include "status/ipv6addresses.h"
#include "status/passwd.h"
#include "status/pppstatus.h"
#include "status/wlanscan.h"
#include "tests/networknamespace.h"
#include "tests/oddkeys.h"
#include "tests/unit/device/systemroot.h"
#include "tests/unit/status/fakeip.h"
#include "tests/unit/status/fakeppphelper.h"
#include "tests/unit/status/faketool.h"
#include "tests/unit/status/forwarder.h"
#include "tests/unit/status/network.h"
#include "tests/unit/status/tablereader.h"
#include "tests/unit/systema/recordingplugin.h"
#include "tests/unit/zel/tempdir.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using tests::oddKeys;
using zel::IStatusInfoSubPlugin;

namespace {

struct TableCase
{
    const char* m_pTable;
    /// Makes the provider of the table, with its rows.
    std::unique_ptr<IStatusInfoSubPlugin> (*m_pMake)(Network&);
    NameList m_lKeys; // none: every column of the schema is one
    std::vector<std::string> m_lQuirks;
    bool m_bOwnNetwork = false; // with two addresses, of "lan" and "peer"
    bool m_bOneRow = false;     // always; else two are made
};

std::ostream& operator<<(std::ostream& a_oStream, const TableCase& a_oCase)
{
    return a_oStream << a_oCase.m_pTable;
}

/// With devices that do not exist, so that nothing changes between two reads.
std::unique_ptr<IStatusInfoSubPlugin> makeInterfaces(Network& a_oNetwork)
{
    RecordingPlugin::Calls lCalls;
    RecordingPlugin oConfig("config", {"StatusNetifConfig"}, lCalls);
    oConfig.m_lRows = {tests::row({{"Name", "none0"}}), tests::row({{"Name", "none1"}})};
    auto pInterfaces =
        std::make_unique<zel::Interfaces>(oConfig, a_oNetwork.m_oDispatcher, a_oNetwork.m_oInterfaceStatus,
                                          a_oNetwork.m_oIPv4, a_oNetwork.m_oIPv6);
    pInterfaces->init();
    return pInterfaces;
}

std::unique_ptr<IStatusInfoSubPlugin> makeCounters(Network& a_oNetwork)
{
    auto pCounters = std::make_unique<zel::InterfaceCounter>(
        a_oNetwork.m_oDispatcher, a_oNetwork.m_oInterfaceStatus, a_oNetwork.m_oIPv4, a_oNetwork.m_oIPv6);
    pCounters->StatusChange("eth0", true);
    pCounters->NewIPv4Address("eth1", "192.0.2.1");
    return pCounters;
}

std::unique_ptr<IStatusInfoSubPlugin> makeLeases(Network& a_oNetwork)
{
    auto pLeases = std::make_unique<zel::DhcpLeases>(a_oNetwork.m_oDispatcher, nullptr, 100);
    pLeases->DhcpLeaseAcked("192.0.2.7", "02:00:00:00:00:07", "printer", "maker", 3600);
    pLeases->DhcpLeaseAcked("192.0.2.8", "02:00:00:00:00:08", "phone", "", 4294967295);
    return pLeases;
}

std::unique_ptr<IStatusInfoSubPlugin> makeIPv6Addresses(Network&)
{
    auto pAddresses = std::make_unique<zel::IPv6Addresses>();
    NameList lChanged;
    pAddresses->update(lChanged);
    return pAddresses;
}

std::unique_ptr<IStatusInfoSubPlugin> makeConnections(Network& a_oNetwork)
{
    const TempDir oDir;
    const std::string sPath = oDir.file("nf_conntrack");
    writeFile(sPath, "ipv4 2 tcp 6 119 SYN_SENT src=10.0.0.2 dst=192.0.2.7 sport=5000 dport=80 [UNREPLIED] \n"
                     "ipv4 2 udp 17 29 src=10.0.0.3 dst=192.0.2.8 sport=5001 dport=53 \n");
    auto pConnections = std::make_unique<zel::IpConntrack>(
        a_oNetwork.m_oDispatcher, a_oNetwork.m_oDispatcher, [] { return std::time_t(1000); }, sPath);
    unsigned iCount = 0;
    pConnections->getRowCount("IpConntrack", iCount);
    return pConnections;
}

std::unique_ptr<IStatusInfoSubPlugin> makeRoutes(Network&)
{
    FakeIp oIp;
    oIp.lists("-4",
              R"([{"dst":"default","gateway":"192.0.2.1","dev":"eth0","metric":100},{"dst":"10.0.0.0/8"}])");
    oIp.lists("-6", R"([{"dst":"2001:db8::/32","dev":"eth0"},{"dst":"default","gateway":"fe80::1"}])");
    auto pRoutes = std::make_unique<zel::IPRoute>();
    pRoutes->init();
    return pRoutes;
}

template<class Table>
std::unique_ptr<IStatusInfoSubPlugin> make(Network&)
{
    return std::make_unique<Table>();
}

std::unique_ptr<IStatusInfoSubPlugin> makeWlan(Network&)
{
    return std::make_unique<zel::WlanScan>([] { return std::time_t{1000}; });
}

/// Of all devices here; it is read at every request.
constexpr const char* c_pDevice = R"({"wlan":{"availability":2,"access-points":[
    {"ssid":"home","mac":"02:00:00:00:00:01","channel":1,"mode":7,
     "networks":[{"ssid":"neighbour","mac":"02:00:00:00:00:07","channel":6,"signal":40}]},
    {"ssid":"home","mac":"02:00:00:00:00:01","channel":1,"mode":7,"networks":[]}]}})";

std::unique_ptr<IStatusInfoSubPlugin> makePppStatus(Network& a_oNetwork)
{
    static FakePppHelper oHelper;
    oHelper.m_mLinks = {{"ppp0", {2, "UI-SBR:16000,1024;"}}, {"ppp1", {0, ""}}};
    auto pLinks = std::make_unique<zel::PppStatus>(oHelper, "/nonexistent", a_oNetwork.m_oDispatcher,
                                                   [] { return std::time_t(0); });
    pLinks->init();
    return pLinks;
}

std::unique_ptr<IStatusInfoSubPlugin> makeFiles(Network&)
{
    const TempDir oDir;
    writeFile(oDir.file("text"), "Name Value\nlan 1\nwan 2\n");
    auto pFiles = std::make_unique<zel::FilePlugin>();
    pFiles->addFile("TextFile", zel::FilePlugin::createFile(oDir.file("text"), ""));
    pFiles->init();
    return pFiles;
}

std::unique_ptr<IStatusInfoSubPlugin> makePasswd(Network&)
{
    return std::make_unique<zel::Passwd>([] { return std::time_t(1000); });
}

struct Zones
{
    Zones()
    {
        m_oTool.behaves("printf 'Chain %s \\n\\n 1 84 ACCEPT all\\n 2 168 DROP all\\n' $2");
        m_oConfig.m_lRows = {tests::row({{"ZoneName", "lan"}}), tests::row({{"ZoneName", "wan"}})};
    }
    FakeTool m_oTool{"iptables"};
    RecordingPlugin::Calls m_lCalls;
    RecordingPlugin m_oConfig{"config", {"FirewallZones"}, m_lCalls};
};

/// Lives with its tool, which each read runs.
struct FirewallOfZones : private Zones, public zel::Firewall
{
    FirewallOfZones() : Firewall(m_oConfig) {}
};

/// Lives with the bus, and is not read again.
struct CacheOfForwarder : private Forwarder, public zel::DnsCache
{
    CacheOfForwarder() : DnsCache(Forwarder::m_oDnsMasq, [] { return std::time_t(1000); })
    {
        writeFile(path("dnsmasq.cache"), "1 A 0 F www 192.0.2.80 3600\n2 A 0 F mail 192.0.2.25 60\n");
        unsigned iCount = 0;
        answer([&] { DnsCache::getRowCount("DnsCache", iCount); });
    }
};

constexpr const char* c_pKeyCode = "unknown key column gives code 10";
constexpr const char* c_pAcked = "row has Acked, which the schema lacks";
constexpr const char* c_pReplaces = "schema replaces what is in the list";
constexpr const char* c_pSkips = "unknown column is skipped";

const TableCase c_aTables[] = {
    {"StatusDsl", make<zel::DslStatus>, {"Id"}, {}, false, true},
    {"StatusDslRealtime", make<zel::DslStatus>, {"Id"}, {}, false, true},
    {"StatusNetifWatch", makeInterfaces, {"Id", "Name"}, {c_pSkips}},
    {"NetifCounter", makeCounters, {"Name"}, {c_pKeyCode}},
    {"StatusNetIfIPv6Addresses",
     makeIPv6Addresses,
     {"Id", "Name"},
     {"key Name of no row gives code 9"},
     true},
    {"WlanScan", makeWlan, {}, {c_pKeyCode}},
    {"DhcpServerClients", makeLeases, {}, {c_pReplaces, c_pAcked, c_pKeyCode}},
    {"DhcpLeases", makeLeases, {}, {c_pReplaces, c_pAcked, c_pKeyCode}},
    {"DnsCache", make<CacheOfForwarder>, {}, {c_pKeyCode}},
    {"FirewallStatistic", make<FirewallOfZones>, {}, {c_pReplaces, c_pSkips, c_pKeyCode}},
    {"PppStatus", makePppStatus, {}, {c_pKeyCode}},
    {"IpConntrack", makeConnections, {}, {}},
    {"TextFile", makeFiles, {}, {c_pKeyCode}},
    {"Passwd", makePasswd, {}, {c_pReplaces, c_pKeyCode}},
    {"RouteIPv4", makeRoutes, {}, {c_pKeyCode}},
    {"RouteIPv6", makeRoutes, {}, {c_pKeyCode}},
};

class StatusTable : public NetworkTest, public testing::WithParamInterface<TableCase>
{
protected:
    void SetUp() override
    {
        if (GetParam().m_bOwnNetwork) {
            NetworkTest::SetUp();
            if (IsSkipped()) {
                return;
            }
            addLan();
            ip("address add fd00::1 dev lan");
            ip("address add fd00::2 dev peer");
        }
        m_oRoot.write("/var/run/ledgerd-sim.json", c_pDevice);
        m_oRoot.write("/etc/passwd", "root:x:0:0:root:/root:/bin/sh\nftp:x:21:21:FTP user:/home/ftp:\n");
        m_pTable = GetParam().m_pMake(m_oNetwork);
        m_oRead.emplace(*m_pTable, m_sName);
        ASSERT_EQ(m_oRead->count(), std::to_string(rows()));
    }

    static unsigned rows() { return GetParam().m_bOneRow ? 1 : 2; }
    systema::ColumnList schema()
    {
        systema::ColumnList lColumns;
        EXPECT_EQ(m_pTable->getSchema(lColumns, m_sName), EResultCode::Success);
        return lColumns;
    }

    NameList keys()
    {
        NameList lKeys = GetParam().m_lKeys;
        if (lKeys.empty()) {
            for (const auto& [sColumn, eType] : schema()) {
                lKeys.add(sColumn);
            }
        }
        return lKeys;
    }

    const std::string m_sName = GetParam().m_pTable;
    SystemRoot m_oRoot;
    Network m_oNetwork;
    std::unique_ptr<IStatusInfoSubPlugin> m_pTable;
    std::optional<TableReader> m_oRead;
};

INSTANTIATE_TEST_SUITE_P(All, StatusTable, testing::ValuesIn(c_aTables),
                         [](const auto& a_oInfo) { return std::string(a_oInfo.param.m_pTable); });

} // namespace

TEST_P(StatusTable, IsServedUnderItsNameAlone)
{
    NameList lNames;
    m_pTable->getTableNames(lNames);
    EXPECT_TRUE(lNames.hasName(m_sName));
    for (const auto& sName : lNames) {
        EXPECT_TRUE(m_pTable->hasTable(sName));
        EXPECT_FALSE(m_pTable->hasTable(sName + "x"));
    }
}

TEST_P(StatusTable, GivesTheAskedColumnsInTheAskedOrder)
{
    for (unsigned iRow = 0; iRow < rows(); ++iRow) {
        const ValueList lWhole = m_oRead->row(iRow);
        std::vector<std::string> lNames;
        for (const auto& [sName, oValue] : lWhole) {
            ValueList lCell;
            lCell.add(sName, oValue);
            EXPECT_EQ(m_oRead->row(iRow, {sName}), lCell);
            lNames.push_back(sName);
        }
        std::ranges::reverse(lNames);
        ValueList lReversed;
        for (const auto& sName : lNames) {
            lReversed.add(sName, lWhole.getValue(sName));
        }
        EXPECT_EQ(m_oRead->row(iRow, NameList(lNames)), lReversed);
    }
}

TEST_P(StatusTable, HasNoRowPastItsEnd)
{
    for (const unsigned iPosition : {rows(), std::numeric_limits<unsigned>::max()}) {
        EXPECT_EQ(m_oRead->at(iPosition), "code 10");
    }
}

TEST_P(StatusTable, IsReadByItsKeys)
{
    const ValueList lFirst = m_oRead->row(0);
    NameList lKeys;
    for (const auto& [sColumn, eType] : schema()) {
        ValueList lRow;
        if (m_pTable->getRowByKey(m_sName, lRow, sColumn, lFirst.getValue(sColumn).toText(), {}) ==
            EResultCode::Success) {
            EXPECT_EQ(lRow, lFirst) << sColumn;
            lKeys.add(sColumn);
        }
    }
    EXPECT_EQ(lKeys, keys());
}

TEST_P(StatusTable, NoKeyFindsARowThatDoesNotShowIt)
{
    for (const auto& [sColumn, oShown] : ValueList(m_oRead->row(0))) {
        for (const std::string& sKey : oddKeys(oShown.toText())) {
            ValueList lRow;
            EResultCode eCode = EResultCode::Pending;
            while (eCode == EResultCode::Pending) {
                eCode = m_pTable->getRowByKey(m_sName, lRow, sColumn, sKey, {sColumn});
            }
            if (eCode == EResultCode::Success) {
                EXPECT_EQ(lRow.getValue(sColumn).toText(), sKey) << sColumn;
            } else {
                EXPECT_THAT(eCode, testing::AnyOf(EResultCode::NoRow, EResultCode::NoKey)) << sColumn << sKey;
            }
        }
    }
}

TEST_P(StatusTable, DeviatesOnlyAsListed)
{
    std::vector<std::string> lDeviations;
    systema::ColumnList lColumns;
    lColumns.add("before", systema::EDataType::Null);
    m_pTable->getSchema(lColumns, m_sName);
    if (lColumns.getColumn("before") == nullptr) {
        lDeviations.emplace_back("schema replaces what is in the list");
    }

    lColumns = schema();
    const ValueList lRow = m_oRead->row(0);
    for (const auto& [sName, eType] : lColumns) {
        const auto* pValue = lRow.find(sName);
        if (pValue == nullptr || pValue->getType() != eType) {
            lDeviations.push_back("row lacks " + sName + " of the schema's type");
        }
    }
    for (const auto& [sName, oValue] : lRow) {
        if (lColumns.getColumn(sName) == nullptr) {
            lDeviations.push_back("row has " + sName + ", which the schema lacks");
        }
    }

    if (const std::string sResult = m_oRead->at(0, {"id"}); sResult != "code 9") {
        lDeviations.push_back("unknown column " + (sResult.empty() ? "is skipped" : "gives " + sResult));
    }
    if (const std::string sResult = m_oRead->find("id", "1"); sResult != "code 9") {
        lDeviations.push_back("unknown key column gives " + sResult);
    }
    for (const auto& sKey : keys()) {
        if (const std::string sResult = m_oRead->find(sKey, "4711"); sResult != "code 10") {
            lDeviations.push_back("key " + sKey + " of no row gives " + sResult);
        }
    }
    EXPECT_EQ(lDeviations, GetParam().m_lQuirks);
}
