#include "server/flashthread.h"

#include "tests/unit/server/support.h"
#include "zel/log.h"
#include "zel/uniquefd.h"

#include <gmock/gmock.h>

#include <chrono>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zel::cfg {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class FlashThreadTest : public testing::Test
{
protected:
    void setCommand(const std::string& a_sScript) const
    {
        m_oPath.add("srv-save-config-active", "echo run >> $HERE/runs\n" + a_sScript);
    }

    std::string runs() const { return readFile(m_oPath.file("runs")); }

    /// Asks for a save, and gives what is logged until the thread has ended.
    std::vector<std::string> save(int a_iCeilingSeconds = FlashThread::c_iCeilingSeconds)
    {
        return logLinesOf([&] {
            FlashThread oThread(m_iModule, a_iCeilingSeconds);
            oThread.wake(PersistScript::c_ePersistDefault);
            m_oResult = oThread.getResult(true);
        });
    }

    const tests::CommandPath m_oPath;
    const int m_iModule = ZEL_Sysloglevel_registerModul("ledgerd");
    std::optional<bool> m_oResult; // of the last save
};

TEST_F(FlashThreadTest, RunsASaveThatWasAskedForRightBeforeTheEnd)
{
    setCommand("");
    std::string sRuns;
    for (const auto eMode : {PersistScript::c_ePersistDefault, PersistScript::c_ePersistRedundant,
                             PersistScript::c_ePersistDefault}) {
        for (int i = 0; i < 20; ++i) {
            FlashThread(m_iModule).wake(eMode);
            EXPECT_EQ(sRuns += "run\n", runs());
        }
    }
    EXPECT_THAT(save(), ElementsAre());
    EXPECT_EQ(true, m_oResult);
}

TEST_F(FlashThreadTest, NobodyWaitsForASlowCommandAndItRunsOnceMoreForThoseWhoWokeItMeanwhile)
{
    ASSERT_EQ(0, ::mkfifo(m_oPath.file("begin").c_str(), 0600));
    ASSERT_EQ(0, ::mkfifo(m_oPath.file("gate").c_str(), 0600));
    setCommand("echo > $HERE/begin\nread x < $HERE/gate\necho end >> $HERE/runs");
    const UniqueFd oBegin(::open(m_oPath.file("begin").c_str(), O_RDWR));
    const UniqueFd oGate(::open(m_oPath.file("gate").c_str(), O_RDWR));
    FlashThread oThread(m_iModule);
    oThread.wake(PersistScript::c_ePersistDefault);
    char cBegun;
    EXPECT_EQ(1, ::read(oBegin.get(), &cBegun, 1));
    oThread.wake(PersistScript::c_ePersistDefault);
    oThread.wake(PersistScript::c_ePersistNoSqlDump);
    EXPECT_FALSE(oThread.getResult(false));
    EXPECT_EQ("run\n", runs());
    EXPECT_EQ(2, ::write(oGate.get(), "\n\n", 2));
    EXPECT_EQ(true, oThread.getResult(true));
    EXPECT_EQ("run\nend\nrun\nend\n", runs());
}

TEST_F(FlashThreadTest, LogsWhatAFailingCommandSays)
{
    const std::string sFailed = "error   ledgerd main:152: srv-save-config-active failed: ";
    setCommand("echo flash is full; echo really >&2; exit 3");
    EXPECT_THAT(save(), ElementsAre(sFailed + "3 (flash is full\\x0areally)"));
    setCommand("head -c 1000000 /dev/zero | tr '\\0' x; exit 4");
    EXPECT_THAT(save(), ElementsAre(StartsWith(sFailed + "4 (xxxxx")));
    setCommand("head -c 1000000 /dev/zero");
    EXPECT_THAT(save(), ElementsAre());
    std::filesystem::remove(m_oPath.file("srv-save-config-active"));
    EXPECT_THAT(save(),
                ElementsAre(testing::AllOf(StartsWith(sFailed + "127 ("), testing::HasSubstr("not found"))));
}

TEST_F(FlashThreadTest, EndsACommandThatHangs)
{
    setCommand("sleep 1000");
    EXPECT_THAT(save(1), ElementsAre("error   ledgerd main:152: srv-save-config-active failed: 124 ()"));
    EXPECT_EQ(false, m_oResult);
    EXPECT_EQ("run\n", runs());
}

} // namespace
} // namespace zel::cfg
