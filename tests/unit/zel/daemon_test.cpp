#include "zel/daemon.h"

#include "tests/unit/zel/tempdir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <new>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

class Daemon : public testing::Test
{
protected:
    bool namesProcess(std::string_view a_sText) const
    {
        writeFile(m_oDaemon.m_sPidFile, a_sText);
        return ZEL_Daemon_namesProcess(m_oDaemon);
    }
    std::string pidFile() const { return readFile(m_oDaemon.m_sPidFile); }

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
        ::_exit(bOther && bDenied && ZEL_Daemon_namesProcess(m_oDaemon) ? 0 : 1);
    }
    EXPECT_EQ(waitFor(iChild), 0);
}

TEST_F(Daemon, whatIsNoPidFileNamesNoProcess)
{
    EXPECT_FALSE(ZEL_Daemon_namesProcess(m_oDaemon));
    for (const std::string& sText :
         {std::string(), std::string("\n"), std::string("ledgerd"), std::string("1x\n"),
          std::string("1\n2\n"), std::string(" 1"), std::string("-1\n"), std::string("0\n"),
          std::string("4294967297\n"), std::string("99999999999999999999\n"), std::string("1\0", 2),
          std::string(1 << 20, '1')}) {
        EXPECT_FALSE(namesProcess(sText)) << sText.substr(0, 40);
    }
}

TEST_F(Daemon, aProcessThatGotTheIdOfADeadDaemonIsNotTakenForIt)
{
    writeFile(m_oDaemon.m_sPidFile, "1\n"); // lives, and is not it
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(m_oDaemon));
    ASSERT_TRUE(ZEL_Daemon_createPidFile(m_oDaemon));
    EXPECT_EQ(pidFile(), std::to_string(::getpid()) + "\n");
    EXPECT_EQ(fs::perms(0644), fs::status(m_oDaemon.m_sPidFile).permissions());

    ZEL_Daemon oSecond = ZEL_Daemon_construct("ledgerd", m_oDir.path());
    const auto expectRefused = [&] {
        EXPECT_TRUE(ZEL_Daemon_occupiedPidFile(oSecond));
        EXPECT_FALSE(ZEL_Daemon_createPidFile(oSecond));
        EXPECT_EQ(errno, EEXIST);
        EXPECT_TRUE(ZEL_Daemon_deletePidFile(oSecond));
    };
    expectRefused();
    EXPECT_EQ(pidFile(), std::to_string(::getpid()) + "\n");
    writeFile(m_oDaemon.m_sPidFile, ""); // what it says does not matter
    expectRefused();

    EXPECT_TRUE(ZEL_Daemon_deletePidFile(m_oDaemon));
    EXPECT_FALSE(fs::exists(m_oDaemon.m_sPidFile));
    ASSERT_TRUE(ZEL_Daemon_createPidFile(oSecond));
    EXPECT_TRUE(ZEL_Daemon_deletePidFile(m_oDaemon));
    EXPECT_TRUE(ZEL_Daemon_occupiedPidFile(m_oDaemon));
}

TEST_F(Daemon, whoMayOnlyReadThePidFileCannotKeepADaemonFromStarting)
{
    writeFile(m_oDaemon.m_sPidFile, "1\n");
    const zel::UniqueFd oReader(::open(m_oDaemon.m_sPidFile.c_str(), O_RDONLY | O_CLOEXEC));
    struct flock oLock
    {
    };
    oLock.l_type = F_RDLCK;
    ASSERT_EQ(0, ::fcntl(oReader.get(), F_OFD_SETLK, &oLock));
    ASSERT_EQ(0, ::flock(oReader.get(), LOCK_EX));
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(m_oDaemon));
    EXPECT_TRUE(ZEL_Daemon_createPidFile(m_oDaemon));
}

TEST_F(Daemon, ofManyThatStartAtOnceOneHoldsThePidFileAndNobodySeesHalfOfIt)
{
    constexpr int c_iProcesses = 4;
    constexpr int c_iStarts = 2000;
    void* pShared = ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto& iHolders = *new (pShared) std::atomic<int>(0);
    writeFile(m_oDaemon.m_sPidFile, "99999\n");
    std::vector<pid_t> lChildren;
    for (int iProcess = 0; iProcess < c_iProcesses; ++iProcess) {
        lChildren.push_back(::fork());
        if (lChildren.back() != 0) {
            continue;
        }
        for (int iStart = 0; iStart < c_iStarts; ++iStart) {
            const std::string sText = pidFile();
            const bool bWhole = sText.size() > 1 && sText.find('\n') == sText.size() - 1;
            const bool bMine = ZEL_Daemon_createPidFile(m_oDaemon);
            if (!bWhole || (!bMine && errno != EEXIST) || (bMine && iHolders.fetch_add(1) != 0)) {
                ::_exit(bWhole ? 1 : 2);
            }
            if (bMine) {
                for (int iRead = 0; iRead < 10; ++iRead) {
                    pidFile(); // while the others try
                }
                iHolders = 0;
                m_oDaemon.m_oPidFile.reset(); // as a kill ends it
            }
        }
        ::_exit(0);
    }
    for (const pid_t iChild : lChildren) {
        EXPECT_EQ(waitFor(iChild), 0);
    }
    ::munmap(pShared, 4096);
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(m_oDaemon));
    EXPECT_EQ(std::distance(fs::directory_iterator(m_oDir.path()), {}), 1) << "a temporary file was left";
}

TEST_F(Daemon, whatStandsInTheWayOfThePidFileIsReplacedAndNeverWrittenTo)
{
    writeFile(m_oDir.file("target"), "precious");
    fs::create_symlink(m_oDir.file("target"), m_oDaemon.m_sPidFile);
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(m_oDaemon));
    EXPECT_TRUE(ZEL_Daemon_createPidFile(m_oDaemon));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(m_oDaemon.m_sPidFile)));
    EXPECT_EQ(readFile(m_oDir.file("target")), "precious");
    EXPECT_TRUE(ZEL_Daemon_deletePidFile(m_oDaemon));

    ASSERT_EQ(::mkfifo(m_oDaemon.m_sPidFile.c_str(), 0600), 0);
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(m_oDaemon));
    EXPECT_TRUE(ZEL_Daemon_createPidFile(m_oDaemon));
    EXPECT_EQ(pidFile(), std::to_string(::getpid()) + "\n");
    EXPECT_TRUE(ZEL_Daemon_deletePidFile(m_oDaemon));

    fs::create_directory(m_oDaemon.m_sPidFile);
    EXPECT_FALSE(ZEL_Daemon_createPidFile(m_oDaemon));
    EXPECT_TRUE(fs::is_directory(m_oDaemon.m_sPidFile));
    fs::remove(m_oDaemon.m_sPidFile);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_oDir.path()), {}), 1) << "a temporary file was left";

    ZEL_Daemon oNowhere = ZEL_Daemon_construct("ledgerd", m_oDir.file("missing"));
    EXPECT_FALSE(ZEL_Daemon_createPidFile(oNowhere));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Daemon, aChildThatIsKilledBeforeItIsReadyIsTold)
{
    const std::string sErrors = m_oDir.file("errors");
    const pid_t iStarter = ::fork();
    if (iStarter == 0) {
        if (std::freopen(sErrors.c_str(), "w", stderr) && ZEL_Daemon_daemonize(m_oDaemon) &&
            ZEL_Daemon_createPidFile(m_oDaemon)) {
            ::raise(SIGKILL);
        }
        ::_exit(0);
    }
    const int iStatus = waitFor(iStarter);
    EXPECT_TRUE(WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 1);
    EXPECT_EQ(readFile(sErrors), "ledgerd: signal 9 (Killed) ended it before it was ready\n");
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(m_oDaemon)) << "another start would be refused";
}

TEST_F(Daemon, whatWasPrintedBeforeItDetachesIsNotLost)
{
    const std::string sOutput = m_oDir.file("output");
    const pid_t iChild = ::fork();
    if (iChild == 0) {
        if (std::freopen(sOutput.c_str(), "w", stdout) && std::fputs("Dump path: /flash\n", stdout) >= 0) {
            ZEL_Daemon_daemonize(m_oDaemon);
            ZEL_Daemon_reportStart(m_oDaemon);
        }
        ::_exit(0);
    }
    EXPECT_EQ(waitFor(iChild), 0);
    EXPECT_EQ(readFile(sOutput), "Dump path: /flash\n");
}
