#include "zel/daemon.h"

#include "tests/unit/zel/tempdir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

class Daemon : public testing::Test
{
protected:
    bool occupiedBy(std::string_view a_sText) const
    {
        writeFile(m_oDaemon.m_sPidFile, a_sText);
        return ZEL_Daemon_occupiedPidFile(m_oDaemon);
    }

    TempDir m_oDir;
    ZEL_Daemon m_oDaemon = ZEL_Daemon_construct("ledgerd", m_oDir.path());
};

int waitFor(pid_t a_iPid)
{
    int iStatus = -1;
    ::waitpid(a_iPid, &iStatus, 0);
    return iStatus;
}

} // namespace

TEST_F(Daemon, aProcessOfSomebodyElseIsAlive)
{
    writeFile(m_oDaemon.m_sPidFile, "1\n");
    fs::permissions(m_oDir.path(), fs::perms(0755));
    const pid_t iChild = ::fork();
    if (iChild == 0) {
        const bool bOther = ::geteuid() != 0 || ::setuid(65534) == 0;
        const bool bDenied = ::kill(1, 0) != 0 && errno == EPERM;
        ::_exit(bOther && bDenied && ZEL_Daemon_occupiedPidFile(m_oDaemon) ? 0 : 1);
    }
    EXPECT_EQ(waitFor(iChild), 0);
}

TEST_F(Daemon, whatIsNoPidFileIsNotOccupied)
{
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(m_oDaemon));
    for (const std::string& sText :
         {std::string(), std::string("\n"), std::string("ledgerd"), std::string("1x\n"),
          std::string("1\n2\n"), std::string(" 1"), std::string("-1\n"), std::string("0\n"),
          std::string("4294967297\n"), std::string("99999999999999999999\n"), std::string("1\0", 2),
          std::string(1 << 20, '1')}) {
        EXPECT_FALSE(occupiedBy(sText)) << sText.substr(0, 40);
    }
    fs::remove(m_oDaemon.m_sPidFile);
    ASSERT_EQ(::mkfifo(m_oDaemon.m_sPidFile.c_str(), 0600), 0);
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(m_oDaemon));
    fs::remove(m_oDaemon.m_sPidFile);
    fs::create_directory(m_oDaemon.m_sPidFile);
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(m_oDaemon));
}

TEST_F(Daemon, whatStandsInTheWayOfThePidFileIsKept)
{
    writeFile(m_oDaemon.m_sPidFile, "1\n");
    EXPECT_FALSE(ZEL_Daemon_createPidFile(m_oDaemon));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(readFile(m_oDaemon.m_sPidFile), "1\n");

    fs::remove(m_oDaemon.m_sPidFile);
    writeFile(m_oDir.file("target"), "precious");
    fs::create_symlink(m_oDir.file("target"), m_oDaemon.m_sPidFile);
    EXPECT_FALSE(ZEL_Daemon_createPidFile(m_oDaemon));
    EXPECT_TRUE(ZEL_Daemon_deletePidFile(m_oDaemon));
    EXPECT_EQ(readFile(m_oDir.file("target")), "precious");

    fs::create_directory(m_oDaemon.m_sPidFile);
    EXPECT_FALSE(ZEL_Daemon_deletePidFile(m_oDaemon));

    EXPECT_FALSE(ZEL_Daemon_createPidFile(ZEL_Daemon_construct("ledgerd", m_oDir.file("missing"))));
    EXPECT_EQ(errno, ENOENT);
    fs::remove_all(m_oDaemon.m_sPidFile);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_oDir.path()), {}), 1) << "a temporary file was left";
}

TEST_F(Daemon, whatWasPrintedBeforeItDetachesIsNotLost)
{
    const std::string sOutput = m_oDir.file("output");
    const pid_t iChild = ::fork();
    if (iChild == 0) {
        if (std::freopen(sOutput.c_str(), "w", stdout) && std::fputs("Dump path: /flash\n", stdout) >= 0) {
            ZEL_Daemon_daemonize(m_oDaemon);
        }
        ::_exit(0);
    }
    EXPECT_EQ(waitFor(iChild), 0);
    EXPECT_EQ(readFile(sOutput), "Dump path: /flash\n");
}
