// The whole of it: every table that is served, with what docs/tables.md says of it, and the order in which
// the daemon is put together and taken apart.
#include "tests/e2e/daemontest.h"

#include <algorithm>
#include <csignal>
#include <map>
#include <regex>
#include <sstream>

namespace e2e {
namespace {

using systema::wire::ETableFilter;

using Columns = std::vector<std::pair<std::string, unsigned>>; // names and types

/// What the columns of a table are documented to be: those with a name, and the type of all further ones.
struct Documented
{
    Columns m_lColumns;
    std::optional<unsigned> m_oFurther;
};

/// What the expression finds in the text, one after the other.
std::vector<std::string> all(const char* a_pExpression, const std::string& a_sText)
{
    const std::regex oExpression(a_pExpression);
    return {std::sregex_token_iterator(a_sText.begin(), a_sText.end(), oExpression, 1), {}};
}

/// By table, what its section's list of columns says. "## A and B" is a section of two tables.
std::map<std::string, Documented> documentedTables()
{
    static const std::map<std::string, unsigned> s_mTypes{
        {"integer", EDataType::Integer}, {"unsigned", EDataType::Unsigned}, {"text", EDataType::Text}};
    static const std::regex s_oHeading("## (\\S+)( and (\\S+)| \\(-m\\))?");
    static const std::regex s_oRow("\\| (.*?) \\| (.*?) \\|.*");
    std::map<std::string, Documented> mTables;
    std::vector<std::string> lSection;
    bool bColumns = false;
    std::istringstream oLines(readFile(LEDGERD_DOCS "/tables.md"));
    std::smatch oMatch;
    for (std::string sLine; std::getline(oLines, sLine);) {
        if (std::regex_match(sLine, oMatch, s_oHeading)) {
            lSection = {oMatch[1]};
            if (oMatch[3].matched) {
                lSection.push_back(oMatch[3]);
            }
        } else if (sLine.starts_with("| Column | Type |")) {
            bColumns = true;
        } else if (!sLine.starts_with("|")) {
            bColumns = false;
        } else if (bColumns && std::regex_match(sLine, oMatch, s_oRow)) {
            const auto lNames = all("`([^`]+)`", oMatch[1]); // of one type, or each with its own
            const auto lTypes = all("(\\w+)", oMatch[2]);
            for (const auto& sTable : lSection) {
                auto& [lColumns, oFurther] = mTables[sTable];
                for (std::size_t i = 0; i < lNames.size(); ++i) {
                    lColumns.emplace_back(lNames[i], s_mTypes.at(lTypes[std::min(i, lTypes.size() - 1)]));
                }
                if (!oMatch[1].str().starts_with("`")) {
                    oFurther = s_mTypes.at(lTypes[0]);
                }
            }
        }
    }
    mTables["DhcpServerClients"] = mTables["DhcpLeases"]; // as the document says
    return mTables;
}

class Whole : public DaemonTest
{
protected:
    Whole() { writeFile(leds(), "Name Colour\npower green\n"); }

    std::string leds() const { return m_oSandbox.path("etc/leds"); }
};

TEST_F(Whole, EveryTableIsServedInItsOrderWithItsDocumentedColumns)
{
    NameList lPersistent;
    NameList lStored;
    for (const auto& sDatabase : databaseNames()) {
        for (const auto& sTable :
             m_oSandbox.sql(sDatabase, "SELECT name FROM sqlite_master WHERE type IN ('table', 'view')"
                                       " AND name NOT LIKE 'sqlite_%' ORDER BY name")) {
            lStored.add(sTable);
            if (sDatabase != "transient.db") {
                lPersistent.add(sTable);
            }
        }
    }
    const NameList lVirtual{"etl",
                            "Environment",
                            "BootLoaderInfo",
                            "SoftwareVersion",
                            "StatusDsl",
                            "StatusDslRealtime",
                            "StatusNetifWatch",
                            "NetifCounter",
                            "StatusNetIfIPv6Addresses",
                            "WlanScan",
                            "DnsCache",
                            "DhcpServerClients",
                            "DhcpLeases",
                            "FirewallStatistic",
                            "PppStatus",
                            "IpConntrack",
                            leds(),
                            "Passwd",
                            "RouteIPv4",
                            "RouteIPv6",
                            "RegisteredViews",
                            "Tz",
                            "SystemTime",
                            "ConfigServerConfig",
                            "ConfigServerLimits"};
    start({"-m", leds()});
    EXPECT_EQ(lPersistent, *client().call(request::GetTables{ETableFilter::Persistent}));
    EXPECT_EQ(lStored, *client().call(request::GetTables{ETableFilter::Stored}));

    NameList lAll{"ConfigmanagerLogging"};
    lAll.splice(lStored);
    for (const auto& sTable : lVirtual) {
        lAll.add(sTable);
    }
    for (const char* pView : {"PhoneLineView", "UserAccountView",
                              "StatusNetifWatchLogical"}) { // known once the plugins are set up
        lAll.add(pView);
    }
    EXPECT_EQ(lAll, *client().call(request::GetTables{}));
    EXPECT_EQ(lAll.size(), client().info("Tables"));

    auto mDocumented = documentedTables();
    mDocumented[leds()] = mDocumented["Files"];
    for (const auto& sTable : lVirtual) {
        const auto oServed = client().call(request::GetSchema{sTable});
        ASSERT_TRUE(oServed.ok()) << sTable;
        auto& [lDocumented, oFurther] = mDocumented[sTable];
        Columns lServed;
        for (const auto& [sColumn, eType] : *oServed) {
            lServed.emplace_back(sColumn, eType);
            if (oFurther && lServed.size() > lDocumented.size()) {
                lDocumented.emplace_back(sColumn, *oFurther);
            }
        }
        EXPECT_EQ(lDocumented, lServed) << sTable;
    }
}

TEST_F(Whole, IsPutTogetherInOrderAndTakenApartInReverse)
{
    std::vector<std::string> lOrder{"flash thread", "log"};
    lOrder.insert(lOrder.end(), databaseNames().begin(), databaseNames().end());
    for (const char* pPart :
         {"device information", "server events", "system bus", "status information", "table views",
          "time zone", "system time", "server settings", "dump", "persistence hook", "persistence trigger",
          "event dispatcher", "service manager", "FIFO", "socket", "acceptor"}) {
        lOrder.emplace_back(pPart);
    }
    start({"-v"});
    daemon().signal(SIGTERM);
    EXPECT_EQ(0, daemon().wait());

    std::vector<std::string> lStarted;
    std::vector<std::string> lGone;
    static const std::regex s_oLine(".* debug +ledgerd main:\\d+: (start|gone): (.*)");
    std::istringstream oLines(daemon().errors());
    std::smatch oMatch;
    for (std::string sLine; std::getline(oLines, sLine);) {
        if (std::regex_match(sLine, oMatch, s_oLine)) {
            (oMatch[1] == "start" ? lStarted : lGone).push_back(oMatch[2]);
        }
    }
    EXPECT_EQ(lOrder, lStarted);
    std::ranges::reverse(lOrder);
    EXPECT_EQ(lOrder, lGone);
}

} // namespace
} // namespace e2e
