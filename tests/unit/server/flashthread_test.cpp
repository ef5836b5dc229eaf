#include "server/flashthread.h"

#include "zel/log.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace zel::cfg {
namespace {

namespace fs = std::filesystem;

/// A save command of the test's own is the first on the path: it writes a line for each run.
class FlashThreadTest : public testing::Test
{
protected:
    FlashThreadTest() : m_sPath(std::getenv("PATH"))
    {
        std::string sTemplate = (fs::temp_directory_path() / "flashthread.XXXXXX").string();
        m_oDirectory = ::mkdtemp(sTemplate.data());
        const fs::path oCommand = m_oDirectory / "srv-save-config-active";
        std::ofstream(oCommand) << "#!/bin/sh\necho run >> " << m_oDirectory.string() << "/runs\n";
        fs::permissions(oCommand, fs::perms::owner_all);
        ::setenv("PATH", (m_oDirectory.string() + ":" + m_sPath).c_str(), 1);
    }

    ~FlashThreadTest() override
    {
        ::setenv("PATH", m_sPath.c_str(), 1);
        fs::remove_all(m_oDirectory);
    }

    std::size_t runs() const
    {
        std::ifstream oRuns(m_oDirectory / "runs");
        std::size_t iRuns = 0;
        for (std::string sLine; std::getline(oRuns, sLine);) {
            ++iRuns;
        }
        return iRuns;
    }

    /// Wakes the thread until the command has run that often; a wake-up before it waits is nobody's.
    bool wakeUntil(FlashThread& a_oThread, PersistScript::EPersistMode a_eMode, std::size_t a_iRuns) const
    {
        const auto oEnd = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (runs() < a_iRuns && std::chrono::steady_clock::now() < oEnd) {
            a_oThread.wake(a_eMode);
            std::this_thread::yield();
        }
        return runs() >= a_iRuns;
    }

    const std::string m_sPath;
    fs::path m_oDirectory;
    const int m_iModule = ZEL_Sysloglevel_registerModul("test");
};

TEST_F(FlashThreadTest, runsTheCommandForEveryWakeUpInASavingMode)
{
    FlashThread oThread(m_iModule);
    EXPECT_TRUE(wakeUntil(oThread, PersistScript::c_ePersistDefault, 2));
    EXPECT_TRUE(wakeUntil(oThread, PersistScript::c_ePersistRedundant, runs() + 1));
}

TEST_F(FlashThreadTest, runsNothingWithoutSqlDumpAndEndsAtOnce)
{
    {
        FlashThread oThread(m_iModule);
        for (int i = 0; i < 100; ++i) {
            oThread.wake(PersistScript::c_ePersistNoSqlDump);
        }
    }
    EXPECT_EQ(runs(), 0U);
}

} // namespace
} // namespace zel::cfg
