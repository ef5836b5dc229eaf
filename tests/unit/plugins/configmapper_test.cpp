#include "plugins/configmapper.h"

#include "storage/sqliteplugin.h"
#include "systema/configdispatcher.h"
#include "tests/row.h"
#include "tests/unit/storage/database.h"

using systema::NameList;
using systema::ValueList;
using tests::row;
using tests::runSql;

namespace {

constexpr const char* c_pNetworkTables =
    "CREATE TABLE InterfaceMapping (Id INTEGER PRIMARY KEY, LogicalName TEXT, PhysicalName TEXT);"
    "INSERT INTO InterfaceMapping VALUES (1, 'ProviderVoice', 'wan0.9'), (2, 'ProviderTR069', 'wan0.8');"
    "CREATE TABLE DhcpClientConfig (Id INTEGER PRIMARY KEY, Interface TEXT, ACSURL TEXT);"
    "INSERT INTO DhcpClientConfig VALUES (1, 'wan0.9', 'http://voice'), (2, 'wan0.8', '');";
constexpr const char* c_pSettingsTable =
    "CREATE TABLE TR069ACS (Id INTEGER PRIMARY KEY, ACSURL TEXT CHECK (ACSURL <> 'http://refused'),"
    " ACSDiscovery INTEGER);"
    "INSERT INTO TR069ACS VALUES (1, '', 0);";

/// The tables of the mapping, in two databases, and a client that hears of changes of the settings.
class ConfigMapper : public testing::Test, private systema::IConfigSubscriber
{
protected:
    ConfigMapper()
    {
        m_oDispatcher.attachTables(m_oNetwork);
        m_oDispatcher.attachTables(m_oSettings);
        m_oDispatcher.initialize();
        m_oDispatcher.subscribe(*this, {"TR069ACS"});
    }
    ~ConfigMapper() override { m_oDispatcher.unsubscribeAll(*this); }

    void notify(const NameList&) override { ++m_iTold; }

    void set(const std::string& a_sTable, int a_iId, const ValueList& a_lValues)
    {
        EXPECT_EQ(0U, m_oDispatcher.updateKey(this, a_sTable, "Id", std::to_string(a_iId), a_lValues));
    }
    /// DHCP gives the address, and everybody is told what has changed, until nothing more does.
    void learn(const char* a_pUrl)
    {
        set("DhcpClientConfig", 2, row({{"ACSURL", a_pUrl}}));
        while (m_oDispatcher.hasNotifications()) {
            m_oDispatcher.sendNotifications();
        }
    }
    ValueList settings()
    {
        ValueList lRow;
        m_oDispatcher.selectRow(lRow, this, "TR069ACS", 0, {"ACSURL", "ACSDiscovery"});
        return lRow;
    }

    systema::SqlitePlugin database(const std::string& a_sName, const std::string& a_sTables) const
    {
        EXPECT_EQ("", runSql(m_oDir.file(a_sName), a_sTables));
        return systema::SqlitePlugin(m_oDir.path(), a_sName, true, true, true);
    }

    const TempDir m_oDir;
    systema::SqlitePlugin m_oNetwork = database("network.db", c_pNetworkTables);
    systema::SqlitePlugin m_oSettings = database("tr069.db", c_pSettingsTable);
    systema::ConfigDispatcher m_oDispatcher;
    zel::ConfigMapper m_oMapper{m_oDispatcher, m_oDispatcher};
    int m_iTold = 0;
};

} // namespace

TEST_F(ConfigMapper, TakesALearnedAddressUnlessOneWasEnteredByHand)
{
    const struct
    {
        const char* m_pStored;
        int m_iDiscovery;
        const char* m_pLearned;
        bool m_bTaken;
    } c_aCases[] = {
        {"", 0, "http://learned", true},
        {"", 1, "http://learned", true},
        {"", 7, "http://learned", true},
        {"", 0, "", false},
        {"http://old", 1, "http://learned", true},
        {"http://old", 0, "http://learned", false},
        {"http://old", 2, "http://learned", false},
        {"http://old", 1, "http://old", false},
        {"http://old", 1, "http://OLD", true},
        {"http://old", 1, "", false},
    };
    for (const auto& oCase : c_aCases) {
        SCOPED_TRACE(testing::Message()
                     << oCase.m_pStored << " " << oCase.m_iDiscovery << " then " << oCase.m_pLearned);
        const ValueList lBefore = row({{"ACSURL", oCase.m_pStored}, {"ACSDiscovery", oCase.m_iDiscovery}});
        set("TR069ACS", 1, lBefore);
        m_oDispatcher.sendNotifications();
        m_iTold = 0;
        EXPECT_EQ("", logOf([&] { learn(oCase.m_pLearned); }));
        EXPECT_EQ(oCase.m_bTaken ? row({{"ACSURL", oCase.m_pLearned}, {"ACSDiscovery", 1}}) : lBefore,
                  settings());
        EXPECT_EQ(oCase.m_bTaken ? 1 : 0, m_iTold);
    }
}

TEST_F(ConfigMapper, HasNothingToDoWhereARowIsMissing)
{
    const ValueList lMapping = row({{"LogicalName", "ProviderTR069"}, {"PhysicalName", "wan0.8"}});
    for (const auto& lGone : {row({{"LogicalName", "Other"}}), row({{"PhysicalName", "wan7"}}),
                              row({{"PhysicalName", systema::Value(systema::EDataType::Null)}})}) {
        set("InterfaceMapping", 2, lGone);
        EXPECT_EQ("", logOf([&] { learn("http://learned"); }));
        EXPECT_EQ(row({{"ACSURL", ""}, {"ACSDiscovery", 0}}), settings());
        set("InterfaceMapping", 2, lMapping);
    }
    EXPECT_EQ(0U, m_oDispatcher.deleteAll(this, "TR069ACS"));
    EXPECT_EQ("", logOf([&] { learn("http://learned"); }));
}

TEST_F(ConfigMapper, RunsTheHandlersOfATableInOrderAndGoesOnWhenOneFails)
{
    std::string sRuns;
    m_oMapper.on("DhcpClientConfig", [&](const std::string& a_sTable, systema::ConfigPluginBase& a_oPlugin) {
        EXPECT_EQ(&m_oDispatcher, &a_oPlugin);
        sRuns += a_sTable + " with " + settings().getValue("ACSURL").getText() + ";";
        return false;
    });
    m_oMapper.on("DhcpClientConfig", [](const std::string&, systema::ConfigPluginBase&) -> bool {
        throw std::runtime_error("broken");
    });
    m_oMapper.on("DhcpClientConfig", [&](const std::string&, systema::ConfigPluginBase&) {
        sRuns += "and after them;";
        return true;
    });
    const std::string sFailed = "error   cfgmapper configmapper:106: Handler for DhcpClientConfig failed";
    EXPECT_THAT(logLinesOf([&] { learn("http://learned"); }),
                testing::ElementsAre(sFailed, testing::EndsWith(": broken"), sFailed));
    EXPECT_EQ("DhcpClientConfig with http://learned;and after them;", sRuns);

    const auto lLog = logLinesOf([&] { learn("http://refused"); });
    EXPECT_EQ(3, std::ranges::count(lLog, sFailed)) << "the write fails as well";
    EXPECT_EQ(row({{"ACSURL", "http://learned"}, {"ACSDiscovery", 1}}), settings());
}
