#include "device/deviceinfoppp.h"

#include "tests/networknamespace.h"
#include "tests/unit/device/systemroot.h"

#include <sys/wait.h>
#include <unistd.h>

namespace {

/// On a system with an empty /var/run and network.
class DeviceInfoPPP : public NetworkTest
{
protected:
    DeviceInfoPPP() { std::filesystem::create_directories(run("")); }

    std::string run(const std::string& a_sFile) const { return m_oRoot.path("/var/run/" + a_sFile); }
    static std::string state(int a_iUnit)
    {
        return ZEL_DeviceInfoPPPAPI_getPPPStatusString(ZEL_DeviceInfoPPPAPI_getPPPStatus(a_iUnit));
    }
    /// The text that a buffer of the size has, in brackets when there is no message. Nothing else is written.
    static std::string message(const char* a_pName, std::size_t a_iSize = 64)
    {
        std::string sBuffer(a_iSize + 1, '#');
        const int iResult = ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName(a_pName, sBuffer.data(), a_iSize);
        EXPECT_EQ(sBuffer.back(), '#');
        const std::string sText = sBuffer.c_str();
        return iResult == 0 ? sText : "(" + sText + ")";
    }

    const SystemRoot m_oRoot;
};

} // namespace

TEST_F(DeviceInfoPPP, StateFollowsDeviceAndDaemon)
{
    EXPECT_EQ(state(0), "Disconnected");
    const pid_t iPppd = ::fork();
    if (iPppd == 0) {
        ::pause();
        ::_exit(0);
    }
    writeFile(run("ppp0.pid"), std::to_string(iPppd) + "\n");
    EXPECT_EQ(state(0), "Connecting");
    EXPECT_EQ(state(1), "Disconnected");
    ip("tuntap add ppp0 mode tun");
    ip("link set ppp0 addrgenmode none");
    EXPECT_EQ(state(0), "Connecting");
    ip("link set ppp0 up");
    EXPECT_EQ(state(0), "Configuring");
    ip("address add fe80::1 peer fe80::2 dev ppp0");
    EXPECT_EQ(state(0), "Connected") << "a link with IPv6 alone";
    ip("-6 address flush dev ppp0");
    ip("address add 192.0.2.1 peer 192.0.2.2 dev ppp0");
    EXPECT_EQ(state(0), "Connected");
    ip("link set ppp0 down");
    EXPECT_EQ(state(0), "Connecting");
    ::kill(iPppd, SIGKILL);
    ::waitpid(iPppd, nullptr, 0);
    EXPECT_EQ(state(0), "Disconnected");
    EXPECT_STREQ(ZEL_DeviceInfoPPPAPI_getPPPStatusString(-1), "Unknown");
}

TEST_F(DeviceInfoPPP, AFileThatNamesNoProcessIsNoDaemon)
{
    for (const char* pPid : {"", "-1", "0", "1 2", "99999999999999999999", "pppd", "1\n2\n"}) {
        writeFile(run("ppp7.pid"), pPid);
        EXPECT_EQ(state(7), "Disconnected") << pPid;
    }
    writeFile(run("ppp7.pid"), "1\n");
    EXPECT_EQ(state(7), "Connecting");
}

TEST_F(DeviceInfoPPP, MessageIsTheFirstLineOfItsFile)
{
    const std::string sLong(63, 'x');
    writeFile(run("ppp-auth-message.ppp0"), "UI-SBR:16000,1024;\nsecond\n");
    writeFile(run("ppp-auth-message.ppp1"), sLong + "y\n");
    writeFile(run("ppp-auth-message.ppp2"), "\nsecond");
    std::filesystem::create_directory(run("ppp-auth-message.ppp3"));
    writeFile(run("secret"), "secret");
    EXPECT_EQ(message("ppp0"), "UI-SBR:16000,1024;");
    EXPECT_EQ(message("ppp0", 7), "UI-SBR");
    EXPECT_EQ(message("ppp0", 1), "");
    EXPECT_EQ(message("ppp1"), sLong);
    EXPECT_EQ(message("ppp2"), "");
    for (const char* pName : {"ppp3", "ppp4", "ppp3/../secret", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(message(pName), "()");
    }
}

TEST_F(DeviceInfoPPP, MessageComesAndGoesWithTheScriptOfTheConnection)
{
    for (const char* pEvent : {"ip-up", "ip-down"}) {
        std::filesystem::copy_file(LEDGERD_PACKAGING "/ppp-auth-message", run(pEvent));
    }
    const auto connect = [&](const std::string& a_sLog) {
        m_oRoot.write("/var/log/ppp0.log", a_sLog);
        EXPECT_EQ(std::system((run("ip-up") + " ppp0").c_str()), 0); // NOLINT
        return message("ppp0");
    };
    const std::string sFirst =
        "Using interface ppp0\nRemote message: SRU=1#SRD=2#\nlocal  IP address 1.1.1.1\n";
    EXPECT_EQ(connect(sFirst), "SRU=1#SRD=2#");
    EXPECT_EQ(connect(sFirst + "Using interface ppp0\nCHAP authentication succeeded: UI-SBR:1,2;\n"),
              "UI-SBR:1,2;");
    EXPECT_EQ(connect(sFirst + "Using interface ppp0\nCHAP authentication succeeded\n"), "");
    EXPECT_EQ(std::system((run("ip-down") + " ppp0").c_str()), 0); // NOLINT
    EXPECT_EQ(message("ppp0"), "()");
}
