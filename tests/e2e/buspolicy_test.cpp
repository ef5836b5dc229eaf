// The policy that is installed, on a bus of the test's own: who may be a network service, and who is
// believed.
#include "tests/e2e/nettest.h"
#include "tools/signals.h"

#include <pwd.h>
#include <regex>
#include <unistd.h>

namespace e2e {
namespace {

/// The users are those of every system; "daemon" stands for the services' own.
std::string policy()
{
    const std::string sPolicy = readFile(LEDGERD_PACKAGING "/com.kestrane.network.conf");
    const auto iBegin = sPolicy.find("<busconfig>") + std::string("<busconfig>").size();
    return std::regex_replace(sPolicy.substr(iBegin, sPolicy.find("</busconfig>") - iBegin),
                              std::regex("user=\"network\""), "user=\"daemon\"");
}

std::function<void()> as(const char* a_pUser)
{
    const passwd* pUser = ::getpwnam(a_pUser);
    EXPECT_NE(nullptr, pUser) << a_pUser;
    const uid_t iUser = pUser ? pUser->pw_uid : 0;
    return [iUser] {
        if (::setuid(iUser) != 0) {
            ::_exit(EXIT_FAILURE);
        }
    };
}

class BusPolicy : public NetTest
{
protected:
    BusPolicy() : NetTest(policy()) {}
};

TEST_F(BusPolicy, OnlyTheServicesUserIsBelieved)
{
    serve({"--stay"}, as("daemon"));
    tell("link lo up");
    startDaemon();
    for (const char* pForger : {"root", "nobody"}) {
        EXPECT_EQ(0, netsim({"emit", "StatusChange", "forged", "true"}, as(pForger)).m_iStatus);
        EXPECT_EQ(0, netsim({"emit", "NewIPv4Address", "forged", "192.0.2.1"}, as(pForger)).m_iStatus);
    }
    EXPECT_EQ(0,
              netsim({"emit", "DhcpLeaseAdded", "192.0.2.2", "forged", "", "", "1"}, as("nobody")).m_iStatus);
    EXPECT_EQ(0, netsim({"emit", "DhcpLeaseAdded", "192.0.2.3", "true", "", "", "1"}).m_iStatus);
    tell("emit StatusChange lo true"); // the last on the bus

    await("1", [&] { return at("NetifCounter", "Name", "lo", "Up"); });
    EXPECT_EQ("result 10", at("NetifCounter", "Name", "forged", "Up"));
    EXPECT_EQ(1U, client().count("DhcpLeases"));
    EXPECT_EQ("1", at("DhcpLeases", "MacAddress", "true", "Expires"));
    EXPECT_EQ("1", at("StatusNetifWatch", "Name", "lo", "IsLinkUp")) << "the daemon may not ask";
}

TEST_F(BusPolicy, OnlyTheServicesUserHasTheirNames)
{
    for (const char* pImpostor : {"root", "nobody"}) {
        const auto oRun = netsim({"serve"}, as(pImpostor));
        EXPECT_EQ(1, oRun.m_iStatus);
        EXPECT_THAT(oRun.m_sErrors, HasSubstr("not allowed to own"));
    }
    EXPECT_EQ(0, netsim({"serve"}, as("daemon")).m_iStatus);
}

TEST(BusPolicyFile, NamesEveryService)
{
    const std::string sPolicy = policy();
    for (const auto& sService : zel::netsim::services()) {
        const std::string sSignals = " send_type=\"signal\" send_interface=\"" + sService + "\"/>";
        EXPECT_NE(std::string::npos, sPolicy.find("<deny" + sSignals)) << sService;
        EXPECT_NE(std::string::npos, sPolicy.find("<allow" + sSignals)) << sService;
    }
}

} // namespace
} // namespace e2e
