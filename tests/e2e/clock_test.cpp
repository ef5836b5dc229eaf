// The tables of time zone and clock, of a daemon that may set neither: below another root, and with the real
// calls but without the privilege.
#include "tests/e2e/daemontest.h"

#include <chrono>
#include <ctime>
#include <filesystem>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace e2e {
namespace {

const std::string c_sOldRule = "UTC0\n";
const std::string c_sNewRule = "CET-1CEST,M3.5.0,M10.5.0/3\n";

/// Takes the privilege to set the clock from this process and all that it becomes, for good.
bool dropClock()
{
    __user_cap_header_struct oHeader{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct aSets[_LINUX_CAPABILITY_U32S_3]{};
    ::prctl(PR_CAPBSET_DROP, CAP_SYS_TIME); // who may not has no privileges at all
    if (::syscall(SYS_capget, &oHeader, aSets) != 0) {
        return false;
    }
    auto& oSet = aSets[CAP_TO_INDEX(CAP_SYS_TIME)];
    oSet.effective &= ~CAP_TO_MASK(CAP_SYS_TIME);
    oSet.permitted &= ~CAP_TO_MASK(CAP_SYS_TIME);
    oSet.inheritable &= ~CAP_TO_MASK(CAP_SYS_TIME);
    return ::syscall(SYS_capset, &oHeader, aSets) == 0;
}

class Clock : public DaemonTest
{
protected:
    Clock() { writeFile(m_oSandbox.path("etc/TZ"), c_sOldRule); }

    unsigned set(const std::string& a_sTable, const ValueList& a_lValues)
    {
        return client().code(request::UpdateRow{a_sTable, 0, a_lValues});
    }
    unsigned setZone()
    {
        return set("Tz", row({{"Name", "CET-1CEST"}, {"Start", "M3.5.0"}, {"End", "M10.5.0/3"}}));
    }

    /// Makes the sandbox's directories those of the system, and takes the privilege away.
    bool enterWithoutClock() const
    {
        const auto bind = [this](const char* a_pBelow, const char* a_pPlace) {
            return ::mount(m_oSandbox.path(a_pBelow).c_str(), a_pPlace, nullptr, MS_BIND, nullptr) == 0;
        };
        return dropClock() && ::unshare(CLONE_NEWNS) == 0 &&
               ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 && bind("etc", "/etc") &&
               bind("var/run", "/var/run");
    }
    bool canEnter() const
    {
        const pid_t iProbe = ::fork();
        if (iProbe == 0) {
            ::_exit(enterWithoutClock() ? 0 : 1);
        }
        int iStatus = -1;
        ::waitpid(iProbe, &iStatus, 0);
        return iStatus == 0;
    }
    bool mayDaemonSetClock() const
    {
        for (const char* pSet : {"CapEff", "CapPrm", "CapInh", "CapBnd", "CapAmb"}) {
            if ((std::stoull(status(pSet), nullptr, 16) >> CAP_SYS_TIME & 1) != 0) {
                return true;
            }
        }
        return false;
    }
};

TEST_F(Clock, BelowAnotherRootNothingIsSetButNoted)
{
    start();
    ASSERT_TRUE(client().subscribe({"Tz", "SystemTime"}).ok());
    EXPECT_EQ(0U, setZone());
    EXPECT_EQ(c_sNewRule, readFile(m_oSandbox.path("etc/TZ")));
    EXPECT_EQ("-120 1\n", readFile(m_oSandbox.path("var/run/ledgerd-zone")));
    EXPECT_EQ("M3.5.0", client().cell("Tz", 1, "Start"));

    EXPECT_EQ(0, ledgerctl({"set", "SystemTime", "--key", "Id=1", "Time=1700000000"}).m_iStatus);
    EXPECT_TRUE(
        eventually([&] { return readFile(m_oSandbox.path("var/run/ledgerd-clock")) == "1700000000\n"; }));
    EXPECT_LT(1700000000, std::stol(client().cell("SystemTime", 1, "Time"))) << "it is still today";
    EXPECT_THAT(client().changes(), ElementsAre("SystemTime", "Tz"));
}

TEST_F(Clock, AWriteOfTheZoneLeavesThatOfTheLogAndOfCommandsAlone)
{
    const std::string sSeen = m_oSandbox.path("zone");
    m_oSandbox.setProgram("iptables", "echo \"$TZ\" > " + sSeen);
    start({}, [] { ::setenv("TZ", "XST-07", 1); });
    EXPECT_EQ(0U, setZone());
    std::filesystem::remove(sSeen);
    client().count("FirewallStatistic");
    EXPECT_EQ("XST-07\n", readFile(sSeen));

    EXPECT_EQ(1U, set("Tz", row({{"Start", ""}, {"Name", "\n"}, {"End", ""}})));
    const std::string sLog = daemon().errors();
    std::tm oShown{};
    ::strptime(sLog.substr(sLog.rfind('\n', sLog.size() - 2) + 1).c_str(), "%Y-%m-%d %T", &oShown);
    EXPECT_NEAR(static_cast<double>(::timegm(&oShown) - std::time(nullptr)), 7 * 3600, 60);
}

TEST_F(Clock, IsSetThoughATransactionIsOpenAndAnotherClientPolls)
{
    start();
    Client oOwner(socket());
    EXPECT_EQ(0U, oOwner.code(request::Begin{}));
    EXPECT_EQ(0U, set("SystemTime", row({{"Time", 1700000000}})));
    const auto oStart = std::chrono::steady_clock::now();
    while (!std::filesystem::exists(m_oSandbox.path("var/run/ledgerd-clock")) &&
           std::chrono::steady_clock::now() - oStart < 6s) {
        EXPECT_EQ(0U, client().code(request::Ping{}));
        ::usleep(1000); // less than the wait for further changes
    }
    EXPECT_LT(std::chrono::steady_clock::now() - oStart, 4s);
    EXPECT_EQ(1U, client().info("TransactionOpen"));
}

TEST_F(Clock, WithoutThePrivilegeTheRealCallsFailAndAreLogged)
{
    if (!canEnter()) {
        GTEST_SKIP() << "putting other directories in place of /etc and /var/run takes root";
    }
    start({}, [this] {
        ::unsetenv("LEDGERD_ROOT");
        if (!enterWithoutClock()) {
            ::_exit(EXIT_FAILURE);
        }
    });
    ASSERT_FALSE(mayDaemonSetClock()); // or the next line would set the clock of this machine
    EXPECT_THAT(logOf([&] { EXPECT_EQ(0U, setZone()); }),
                Contains("error TzPlugin settimeofday() failed: Operation not permitted"));
    EXPECT_EQ(c_sNewRule, readFile(m_oSandbox.path("etc/TZ")));
    EXPECT_EQ(0U, set("SystemTime", row({{"Time", 1700000000}})));
    EXPECT_TRUE(eventually([&] {
        return daemon().errors().find("SysTime systemtime:323: Failed to set system time.") !=
               std::string::npos;
    }));
}

} // namespace
} // namespace e2e
