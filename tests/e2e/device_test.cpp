// The line and the radio of a device that a file simulates, from that file to the tables and ledgerctl.
#include "cli/json.h"
#include "tests/e2e/daemontest.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iterator>

namespace e2e {
namespace {

using testing::ElementsAre;

class SimulatedDevice : public DaemonTest
{
protected:
    SimulatedDevice() : DaemonTest(LEDGERD_SIM_BINARY) {}

    void become(const std::string& a_sJson) const
    {
        const std::string sFile = m_oSandbox.path("var/run/ledgerd-sim.json");
        writeFile(sFile + ".new", a_sJson);
        std::filesystem::rename(sFile + ".new", sFile);
    }

    /// The modem has figures in every state.
    void line(const std::string& a_sState) const
    {
        become(R"({"dsl":{"state":")" + a_sState + R"(","upstream-rate":10087,"downstream-rate":51392,
                          "transmission-system":"0000000000000002"}})");
    }
    /// The tables of which the next update tells.
    std::vector<std::string> told()
    {
        std::vector<std::string> lTables;
        const auto collect = [&] {
            EXPECT_EQ(0U, client().code(request::Ping{})); // the daemon sees then whether an update is due
            std::ranges::copy(client().changes(), std::back_inserter(lTables));
            return !lTables.empty();
        };
        EXPECT_TRUE(eventually(collect));
        collect(); // what was told with the first
        return lTables;
    }

    /// The radio has an access point of its own, and sees networks with these names, as JSON has them, in
    /// the order of their addresses.
    void radio(const std::vector<std::string>& a_lNames) const
    {
        std::string sNetworks;
        for (std::size_t i = 0; i < a_lNames.size(); ++i) {
            sNetworks += (i > 0 ? R"(,{"ssid":")" : R"({"ssid":")") + a_lNames[i] + R"(","mac":"neighbour )" +
                         std::to_string(i) + R"(","channel":1})";
        }
        become(R"({"wlan":{"availability":2,"access-points":[
                   {"ssid":"home","mac":"own","channel":6,"mode":7,"networks":[)" +
               sNetworks + "]}]}}");
    }
    unsigned count()
    {
        const auto oCount = client().call(request::GetSize{"WlanScan"});
        return oCount.ok() ? *oCount : 0;
    }
    std::vector<std::string> networks()
    {
        const auto oRows = client().call(request::SelectRows{"WlanScan", {"Id", "Ssid"}});
        std::vector<std::string> lNetworks;
        for (std::size_t i = 0; i < oRows->size(); ++i) {
            const auto lCells = (*oRows)[i].m_lCells;
            lNetworks.push_back(lCells[0].toValue().toText() + " " + lCells[1].toValue().toText());
        }
        return lNetworks;
    }
};

TEST_F(SimulatedDevice, ALineTrainsEntersShowtimeAndDrops)
{
    line("idle");
    start();
    const NameList lTables{"StatusDsl", "StatusDslRealtime"};
    ASSERT_TRUE(client().subscribe(lTables).ok());
    const auto expectRow = [&](const char* a_pTable, const char* a_pMode, int a_iState, const char* a_pState,
                               int a_iUpstream, int a_iDownstream) {
        EXPECT_EQ(row({{"Id", 1},
                       {"XdslMode", a_pMode},
                       {"Status", a_iState},
                       {"StatusString", a_pState},
                       {"ActualDataRateUS", a_iUpstream},
                       {"ActualDataRateDS", a_iDownstream}}),
                  *client().call(request::SelectKey{a_pTable, "Id", "1"}));
    };

    line("training");
    EXPECT_THAT(told(), ElementsAre("StatusDslRealtime"));
    expectRow("StatusDsl", "", 0, "down", 0, 0);
    expectRow("StatusDslRealtime", "", 3, "training", 0, 0);

    line("showtime");
    EXPECT_THAT(told(), testing::UnorderedElementsAre("StatusDsl", "StatusDslRealtime"));
    expectRow("StatusDsl", "VDSL2 Annex B", 4, "showtime", 10087, 51392);
    expectRow("StatusDslRealtime", "VDSL2 Annex B", 4, "showtime", 10087, 51392);

    line("failed");
    EXPECT_THAT(told(), testing::UnorderedElementsAre("StatusDsl", "StatusDslRealtime"));
    expectRow("StatusDsl", "", 5, "failed", 0, 0);
    expectRow("StatusDslRealtime", "", 5, "failed", 0, 0);
}

TEST_F(SimulatedDevice, NeighboursComeRenameThemselvesAndAgeOut)
{
    start();
    EXPECT_EQ(1U, client().code(request::GetSize{"WlanScan"})) << "without a radio";
    radio({"near"});
    Transaction oTransaction(client());
    ASSERT_TRUE(oTransaction.begin().ok());
    EXPECT_THAT(networks(), ElementsAre("1 home", "2 near"));
    radio({"near", "far"});
    EXPECT_THAT(networks(), ElementsAre("1 home", "2 near")) << "a transaction scans once";
    ASSERT_TRUE(oTransaction.commit().ok());
    EXPECT_THAT(networks(), ElementsAre("1 home", "2 near", "3 far"));
    radio({"renamed", "far"});
    EXPECT_THAT(networks(), ElementsAre("1 home", "2 far", "3 renamed"));

    radio({"renamed", "far"});
    std::time_t iSeen;
    do { // a scan that ends in the second in which it began
        iSeen = std::time(nullptr);
        count();
    } while (std::time(nullptr) != iSeen);
    radio({"renamed"});
    EXPECT_TRUE(eventually([&] { return std::time(nullptr) > iSeen; })); // within it no scan counts
    for (int i = 1; i <= 10; ++i) {
        EXPECT_EQ(3U, count()) << i;
    }
    EXPECT_EQ(2U, count());
    EXPECT_THAT(networks(), ElementsAre("1 home", "2 renamed"));

    radio(std::vector<std::string>(70, "crowd"));
    EXPECT_EQ(1U + 64, count()) << "the own one and the first 64";
    become("");
    EXPECT_EQ(1U, client().code(request::SelectRow{"WlanScan", 0})) << "the radio is down again";
}

TEST_F(SimulatedDevice, ANameOfAnyBytesIsHarmlessInEveryForm)
{
    const std::string sName = "\xff\xfe"
                              "caf\xe9 \"au l\"',;\r\n\x1b[2J\x01\x7f\xc2\x9b\\\xe2\x80\xae\xc3\xa4";
    ASSERT_EQ(32U, sName.size());
    radio({"\xff\xfe"
           "caf\xe9 \\\"au l\\\"',;\\r\\n\\u001b[2J\\u0001\x7f\xc2\x9b\\\\\xe2\x80\xae\xc3\xa4"});
    start();
    EXPECT_EQ(row({{"Ssid", sName.c_str()}}),
              *client().call(request::SelectKey{"WlanScan", "Ssid", sName, {"Ssid"}}));

    EXPECT_EQ(
        "Ssid\nhome\n\\xff\\xfecaf\\xe9 \"au l\"',;\\x0d\\x0a\\x1b[2J\\x01\\x7f\\xc2\\x9b\\\\xe2\\x80\\xae"
        "\xc3\xa4\n",
        ledgerctl({"get", "WlanScan", "Ssid"}).m_sOutput);
    EXPECT_EQ("Ssid\r\nhome\r\n\"\xff\xfe"
              "caf\xe9 \"\"au l\"\"',;\r\n\x1b[2J\x01\x7f\xc2\x9b\\\xe2\x80\xae\xc3\xa4\"\r\n",
              ledgerctl({"--csv", "get", "WlanScan", "Ssid"}).m_sOutput);

    const std::string sJson = ledgerctl({"--json", "get", "WlanScan", "Ssid", "--row", "1"}).m_sOutput;
    for (const char* pForTerminal : {"\x1b", "\x7f", "\xc2\x9b", "\xe2\x80\xae"}) {
        EXPECT_THAT(sJson, testing::Not(testing::HasSubstr(pForTerminal)));
    }
    std::string sError;
    const auto oRows = systema::cli::parseJson(sJson, sError);
    ASSERT_TRUE(oRows) << sError;
    json_object* pRow = json_object_array_get_idx(oRows.get(), 0);
    EXPECT_EQ("\ufffd\ufffdcaf\ufffd \"au l\"',;\r\n\x1b[2J\x01\x7f\u009b\\\u202e\u00e4",
              systema::cli::textOf(json_object_object_get(pRow, "Ssid")));
}

} // namespace
} // namespace e2e
