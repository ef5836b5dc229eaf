// The simulator of the network services: what it refuses.
#include "tests/e2e/nettest.h"

namespace e2e {
namespace {

using Netsim = NetTest;

TEST_F(Netsim, RefusesWhatItCannotDo)
{
    const auto oServe = [this](const std::string& a_sScript) {
        writeFile(m_oSandbox.path("script"), a_sScript);
        return netsim({"serve", m_oSandbox.path("script")});
    };
    EXPECT_EQ(0, oServe("# nothing\n\nstorm 3 StatusChange 'a b' true\nsleep 1\nlink eth0 down").m_iStatus);
    const auto oRun = oServe("emit Nothing 1\nlink eth0\nlink eth0 high\nstorm x StatusChange a true\nsleep\n"
                             "emit StatusChange 'a\nturn round\nsleep -1\n"
                             "cache /tmp/x.cache line");
    EXPECT_EQ(64, oRun.m_iStatus);
    EXPECT_EQ("ledger-netsim: line 1: there is no signal \"Nothing\"\n"
              "ledger-netsim: line 2: usage: link DEVICE up|down\n"
              "ledger-netsim: line 3: a link is up or down, not \"high\"\n"
              "ledger-netsim: line 4: \"x\" is no number of signals\n"
              "ledger-netsim: line 5: usage: sleep MS\n"
              "ledger-netsim: line 6: a quote is not closed\n"
              "ledger-netsim: line 7: there is no command \"turn\"\n"
              "ledger-netsim: line 8: \"-1\" is no number of milliseconds\n"
              "ledger-netsim: line 9: \"/tmp/x.cache\" is no name of a file in /tmp\n",
              oRun.m_sErrors);
    EXPECT_EQ(64, oServe(std::string(100000, 'x')).m_iStatus);

    for (const std::vector<std::string>& lWords : {std::vector<std::string>{},
                                                   {"emit"},
                                                   {"emit", "Nothing"},
                                                   {"emit", "StatusChange", "eth0"},
                                                   {"serve", "--silent", "Nobody"},
                                                   {"serve", "/no/such/file"},
                                                   {"emit", "--count", "x", "StatusChange"}}) {
        const auto oRefused = netsim(lWords);
        EXPECT_EQ(64, oRefused.m_iStatus) << testing::PrintToString(lWords);
        EXPECT_THAT(oRefused.m_sErrors, StartsWith("ledger-netsim: "));
    }
    EXPECT_EQ("ledger-netsim: no command \"emt\"; did you mean \"emit\"?\n", netsim({"emt"}).m_sErrors);
    EXPECT_EQ("ledger-netsim: SIGNAL is required; see ledger-netsim emit --help\n",
              netsim({"emit"}).m_sErrors);
    EXPECT_THAT(netsim({"serve", "--help"}).m_sOutput,
                Not(testing::ContainsRegex("Excludes|not with:|TEXT|REQUIRED")));
    m_oBus.stop();
    EXPECT_EQ(69, netsim({"emit", "StatusChange", "eth0", "true"}).m_iStatus);
    EXPECT_EQ(69, netsim({"serve"}).m_iStatus);
}

} // namespace
} // namespace e2e
