// The simulator of the network services by itself: what it answers, and what it refuses.
#include "tests/e2e/nettest.h"

namespace e2e {
namespace {

using testing::HasSubstr;

class Netsim : public NetTest
{
protected:
    /// What a service answers to a call, the error's text included.
    std::string call(const std::string& a_sService, const std::string& a_sMethodAndArguments) const
    {
        std::string sPath = "/" + a_sService;
        std::ranges::replace(sPath, '.', '/');
        const auto oRun =
            run("/bin/sh", {{"-c", "dbus-send --bus=" + m_oBus.address() +
                                       " --print-reply=literal --reply-timeout=100 --dest=" + a_sService +
                                       " " + sPath + " " + a_sService + "." + a_sMethodAndArguments}});
        return oRun.m_sOutput + oRun.m_sErrors;
    }
    std::string askLink(const std::string& a_sDevice) const
    {
        return call("com.kestrane.network.InterfaceStatus", "GetLinkStatusForDevice string:" + a_sDevice);
    }
    std::string dumpCache() const { return call("uk.org.thekelleys.dnsmasq", "DumpCache"); }
};

TEST_F(Netsim, AnswersAsItIsTold)
{
    const std::string sFrom = m_oSandbox.path("from"), sTo = m_oSandbox.path("to");
    writeFile(sFrom, "cached");
    serve({"--stay", "--dnsmasq", "--dump", sFrom, sTo});
    tell("link eth0 up");
    EXPECT_TRUE(eventually([&] { return askLink("eth0").find("true") != std::string::npos; }));
    EXPECT_THAT(askLink("eth1"), HasSubstr("false"));
    EXPECT_THAT(dumpCache(), HasSubstr("true"));
    EXPECT_EQ("cached", readFile(sTo));

    serve({"--stay", "--dnsmasq", "--dump-fails", "--silent", "InterfaceStatus"});
    EXPECT_THAT(dumpCache(), HasSubstr("cannot be dumped"));
    EXPECT_THAT(askLink("eth0"), HasSubstr("NoReply"));

    serve({"--stay"});
    EXPECT_THAT(dumpCache(), HasSubstr("ServiceUnknown"));
}

TEST_F(Netsim, RefusesWhatItCannotDo)
{
    const auto oServe = [this](const std::string& a_sScript) {
        writeFile(m_oSandbox.path("script"), a_sScript);
        return netsim({"serve", m_oSandbox.path("script")});
    };
    EXPECT_EQ(0, oServe("# nothing\n\nstorm 3 StatusChange 'a b' true\nsleep 1\nlink eth0 down").m_iStatus);
    const auto oRun = oServe("emit Nothing 1\nlink eth0\nlink eth0 high\nstorm x StatusChange a true\nsleep\n"
                             "emit StatusChange 'a\nturn round\nsleep -1");
    EXPECT_EQ(64, oRun.m_iStatus);
    EXPECT_EQ("ledger-netsim: line 1: there is no signal \"Nothing\"\n"
              "ledger-netsim: line 2: usage: link DEVICE up|down\n"
              "ledger-netsim: line 3: a link is up or down, not \"high\"\n"
              "ledger-netsim: line 4: \"x\" is no number of signals\n"
              "ledger-netsim: line 5: usage: sleep MS\n"
              "ledger-netsim: line 6: a quote is not closed\n"
              "ledger-netsim: line 7: there is no command \"turn\"\n"
              "ledger-netsim: line 8: \"-1\" is no number of milliseconds\n",
              oRun.m_sErrors);
    EXPECT_EQ(64, oServe(std::string(100000, 'x')).m_iStatus);

    for (const std::vector<std::string>& lWords : {std::vector<std::string>{},
                                                   {"emit"},
                                                   {"emit", "Nothing"},
                                                   {"emit", "StatusChange", "eth0"},
                                                   {"serve", "--silent", "Nobody"},
                                                   {"serve", "/no/such/file"},
                                                   {"emit", "--count", "x", "StatusChange"}}) {
        EXPECT_EQ(64, netsim(lWords).m_iStatus) << testing::PrintToString(lWords);
    }
    m_oBus.stop();
    EXPECT_EQ(69, netsim({"emit", "StatusChange", "eth0", "true"}).m_iStatus);
    EXPECT_EQ(69, netsim({"serve"}).m_iStatus);
}

} // namespace
} // namespace e2e
