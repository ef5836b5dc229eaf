// What a row is selected by is what it shows: keys of every table that the daemon computes.
#include "tests/e2e/daemontest.h"
#include "tests/oddkeys.h"

#include <algorithm>

namespace e2e {
namespace {

using systema::EResultCode;
using testing::AnyOf;

class Keys : public DaemonTest
{
protected:
    /// The names of the tables that are computed, views left out.
    std::vector<std::string> liveTables()
    {
        std::vector<std::string> lTables;
        const auto oTables = client().call(request::GetTables{});
        std::ranges::copy_if(*oTables, std::back_inserter(lTables), [&](const std::string& a_sTable) {
            return client().call(request::Describe{a_sTable})->m_eKind == systema::ETableKind::Live;
        });
        return lTables;
    }
};

TEST_F(Keys, AKeyThatTheRowDoesNotShowFindsNothingInAnyLiveTable)
{
    writeFile(m_oSandbox.path("etc/passwd"), "root:x:0:0:root:/root:/bin/sh\n");
    writeFile(m_oSandbox.path("etc/TZ"), "UTC0\n");
    writeFile(m_oSandbox.path("etc/etl.conf"), "NAME=\"1\"\nEMPTY=\"\"\n");
    start();
    std::set<std::string> lFound;
    for (const std::string& sTable : liveTables()) {
        const auto oRows = client().call(request::SelectRows{sTable});
        if (oRows->empty()) {
            continue;
        }
        const auto oFirst = client().call(request::SelectRow{sTable, 0});
        for (const auto& [sColumn, oShown] : *oFirst) {
            for (const std::string& sKey : tests::oddKeys(oShown.toText())) {
                SCOPED_TRACE(sTable + " " + sColumn + "=" + sKey.substr(0, 40));
                const auto oRow = client().call(request::SelectKey{sTable, sColumn, sKey, {sColumn}});
                if (oRow.ok()) {
                    EXPECT_EQ(sKey, oRow->getValue(sColumn).toText());
                    lFound.insert(sTable);
                } else {
                    EXPECT_THAT(unsigned{oRow.code()}, AnyOf(1U, 9U, 10U));
                }
            }
            EXPECT_NE(0U, client().code(request::SelectKey{sTable, sColumn + "x", oShown.toText()}));
        }
    }
    EXPECT_THAT(lFound, testing::IsSupersetOf({"BootLoaderInfo", "ConfigServerConfig", "ConfigServerLimits",
                                               "ConfigmanagerLogging", "Environment", "Passwd",
                                               "SoftwareVersion", "SystemTime", "Tz", "etl"}));
    const auto oRun = ledgerctl({"get", "SoftwareVersion", "--key", "Id=2"});
    EXPECT_EQ("ledgerctl: no row of SoftwareVersion has that Id [10]\n", oRun.m_sErrors);
}

TEST_F(Keys, AnUnknownColumnIsRefusedWithoutRowsToo)
{
    m_oSandbox.sql("persistent-common.db", "DELETE FROM ViewNames; DELETE FROM ViewColumns");
    m_oSandbox.sql("transient.db", "DELETE FROM StatusNetifConfig");
    writeFile(m_oSandbox.path("etc/TZ"), "UTC0\n");
    start();
    std::set<std::string> lEmpty;
    for (const std::string& sTable : liveTables()) {
        const auto oRows = client().call(request::SelectRows{sTable});
        if (!oRows.ok()) {
            continue; // no radio
        }
        if (oRows->empty()) {
            lEmpty.insert(sTable);
        }
        const auto oRun = ledgerctl({"get", sTable, "nope"});
        EXPECT_EQ("ledgerctl: no column \"nope\" in " + sTable + " [9]\n", oRun.m_sErrors);
        EXPECT_EQ("", oRun.m_sOutput);
    }
    EXPECT_THAT(lEmpty,
                testing::IsSupersetOf({"DhcpLeases", "DnsCache", "RegisteredViews", "StatusNetifWatch"}));
    const auto oHidden = ledgerctl({"get", "DhcpLeases", "Acked", "HostName"});
    EXPECT_EQ("", oHidden.m_sErrors);
    EXPECT_THAT(oHidden.m_sOutput, HasSubstr("Acked"));
}

} // namespace
} // namespace e2e
