// The line and the radio of a device that a file simulates, from that file to the tables and ledgerctl.
#include "tests/e2e/daemontest.h"

#include <filesystem>

namespace e2e {
namespace {

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
    std::vector<std::string> networks() { return client().rows("WlanScan", {"Id", "Ssid"}); }
};

TEST_F(SimulatedDevice, ALineTrainsEntersShowtimeAndDrops)
{
    line("idle");
    start();
    const std::set<std::string> lBoth{"StatusDsl", "StatusDslRealtime"};
    ASSERT_TRUE(client().subscribe({"StatusDsl", "StatusDslRealtime"}).ok());

    line("training");
    EXPECT_EQ(std::set<std::string>{"StatusDslRealtime"}, client().awaitChanges(1));
    EXPECT_THAT(client().rows("StatusDsl"), ElementsAre("1  0 down 0 0"));
    EXPECT_THAT(client().rows("StatusDslRealtime"), ElementsAre("1  3 training 0 0"));

    line("showtime");
    EXPECT_EQ(lBoth, client().awaitChanges(2));
    EXPECT_THAT(client().rows("StatusDsl"), ElementsAre("1 VDSL2 Annex B 4 showtime 10087 51392"));

    line("failed");
    EXPECT_EQ(lBoth, client().awaitChanges(2));
    EXPECT_THAT(client().rows("StatusDsl"), ElementsAre("1  5 failed 0 0"));
}

TEST_F(SimulatedDevice, NeighboursComeAndRenameThemselves)
{
    start();
    EXPECT_EQ(1U, client().code(request::GetSize{"WlanScan"})) << "without a radio";
    radio({"near"});
    EXPECT_EQ(0U, client().code(request::Begin{}));
    EXPECT_THAT(networks(), ElementsAre("1 home", "2 near"));
    radio({"near", "far"});
    EXPECT_THAT(networks(), ElementsAre("1 home", "2 near")) << "a transaction scans once";
    EXPECT_EQ(0U, client().code(request::Commit{}));
    EXPECT_THAT(networks(), ElementsAre("1 home", "2 near", "3 far"));
    radio({"renamed", "far"});
    EXPECT_THAT(networks(), ElementsAre("1 home", "2 far", "3 renamed"));

    radio(std::vector<std::string>(70, "crowd"));
    EXPECT_EQ(1U + 64, client().count("WlanScan")) << "the own one and the first 64";
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
    EXPECT_EQ("Ssid\nhome\n\"\xff\xfe"
              "caf\xe9 \"\"au l\"\"',;\r\n\x1b[2J\x01\x7f\xc2\x9b\\\xe2\x80\xae\xc3\xa4\"\n",
              ledgerctl({"--csv", "get", "WlanScan", "Ssid"}).m_sOutput);
    for (const std::string sForm : {"--csv", "-v"}) {
        const std::string sCommand = LEDGERCTL_BINARY " -s " + socket() + " get WlanScan Ssid " + sForm;
        const Finished oShown = run("/usr/bin/script", {{"-qec", sCommand, "/dev/null"}});
        EXPECT_EQ(0, oShown.m_iStatus) << oShown.m_sErrors;
        EXPECT_THAT(oShown.m_sOutput, HasSubstr("\\x0d\\x0a\\x1b[2J\\x01\\x7f")) << "on a terminal";
        EXPECT_THAT(oShown.m_sOutput, Not(HasSubstr("\x1b[2J")));
    }

    EXPECT_EQ("[\n {\"Ssid\":\"\ufffd\ufffdcaf\ufffd \\\"au "
              "l\\\"',;\\r\\n\\u001b[2J\\u0001\\u007f\\u009b\\\\\\u202e\u00e4\"}\n]\n",
              ledgerctl({"--json", "get", "WlanScan", "Ssid", "--row", "1"}).m_sOutput);
}

} // namespace
} // namespace e2e
