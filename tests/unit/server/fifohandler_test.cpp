#include "server/fifohandler.h"

#include "server/flashbackuphook.h"
#include "server/flashthread.h"
#include "server/sqlitedump.h"
#include "storage/sqliteplugin.h"
#include "systema/configdispatcher.h"
#include "systema/persistscript.h"
#include "tests/unit/server/support.h"
#include "zel/assert.h"
#include "zel/log.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

namespace zel::cfg {
namespace {

using namespace std::string_literals;
using std::filesystem::exists;
using systema::ConfigDispatcher;
using systema::SqlitePlugin;
using testing::ElementsAre;
using testing::IsEmpty;

class FifoHandlerTest : public testing::Test, public PersistScript::IHook
{
protected:
    FifoHandlerTest()
    {
        m_oDump.addPlugin(&m_oTransient);
        m_oDump.addPlugin(&m_oPersistent);
    }
    ~FifoHandlerTest() override
    {
        ConfigDispatcher::instance().unlock();
        ConfigDispatcher::instance().processLocks();
        ConfigDispatcher::instance().setPersistScript(nullptr);
    }

    void persist(PersistScript::EPersistMode a_eMode) override { m_lSaves.push_back(a_eMode); }
    std::optional<bool> getResult(bool) override { return true; }

    /// One write to the FIFO by a writer that comes and goes; what is logged until nothing is left to handle.
    std::vector<std::string> send(const std::string& a_sBytes)
    {
        auto lLines = logLinesOf([&] {
            const UniqueFd oWriter(::open(m_sName.c_str(), O_WRONLY | O_NONBLOCK));
            EXPECT_EQ(static_cast<ssize_t>(a_sBytes.size()),
                      ::write(oWriter.get(), a_sBytes.data(), a_sBytes.size()));
            for (m_iPasses = 0; m_oEvents.handleEvents(0) > 0; ++m_iPasses) {
                EXPECT_EQ(0, m_oEvents.handleEvents(0)); // a command ends the pass
                ConfigDispatcher::instance().processLocks();
            }
        });
        std::erase_if(lLines, [](const auto& a_sLine) {
            return a_sLine.find(" ConfigDispatcher ") != std::string::npos;
        });
        return lLines;
    }

    static std::vector<std::string> info(const std::string& a_sLine)
    {
        return {"info    LedgerdFifo fifohandler:" + a_sLine};
    }

    /// The seconds after a change at which it is saved; -1 for never.
    int wait()
    {
        m_oScript.markChanged();
        int iSeconds = 0;
        m_lSaves.clear();
        for (; iSeconds < 1000 && m_lSaves.empty(); ++iSeconds, m_oNow += std::chrono::seconds(1)) {
            m_oScript.process(false);
        }
        m_oScript.process(true);
        return m_lSaves.size() == 1 && iSeconds < 1000 ? iSeconds - 1 : -1;
    }

    /// Which databases have been dumped since the last call, by their first letter.
    std::string dumped() const
    {
        std::string sDumped;
        for (const SqlitePlugin* pPlugin : {&m_oPersistent, &m_oTransient}) {
            if (std::filesystem::remove(m_oDir.file(pPlugin->getName() + ".sql"))) {
                sDumped += pPlugin->getName().front();
            }
        }
        return sDumped;
    }

    const TempDir m_oDir;
    const std::string m_sName = m_oDir.file("fifo");
    SqlitePlugin m_oPersistent{m_oDir.path(), "persistent.db", true, true, false};
    SqlitePlugin m_oTransient{m_oDir.path(), "transient.db", true, false, false};
    SqliteDump m_oDump{m_oDir.path().c_str(), m_oDir.path().c_str(), false};
    std::vector<int> m_lSaves;
    int m_iPasses = 0;
    std::chrono::seconds m_oNow{0};
    PersistScript m_oScript{*this, 20, PersistScript::c_ePersistDefault,
                            [this] { return PersistScript::Clock::time_point(m_oNow); }};
    systema::net::EventDispatcher m_oEvents;
    std::chrono::milliseconds m_oStep{0}; // which each look at the clock takes
    FifoHandler::Clock::time_point m_oTime;
    FifoHandler m_oHandler{m_oEvents, m_oDump, m_oScript, m_sName, [this] { return m_oTime += m_oStep; }};
};

TEST_F(FifoHandlerTest, TriggerSavesAtTheNextPass)
{
    for (const auto& sCommand : {"trigger"s, "trigger\n"s, "triggers and more"s, "trigger\0lock"s,
                                 "trigger\nlock\nunlock\n"s, "trigger" + std::string(249, 'x')}) {
        EXPECT_EQ(info("67: Trigger request via FIFO"), send(sCommand));
        m_oScript.process(false);
        EXPECT_THAT(std::exchange(m_lSaves, {}), ElementsAre(1));
    }
}

TEST_F(FifoHandlerTest, LockHoldsUntilUnlock)
{
    auto& oDispatcher = ConfigDispatcher::instance();
    EXPECT_EQ(info("72: Lock request via FIFO"), send("lock\n"));
    oDispatcher.processLocks();
    EXPECT_TRUE(oDispatcher.isLocked());
    EXPECT_EQ(info("77: Unlock request via FIFO"), send("unlocked"));
    oDispatcher.processLocks();
    EXPECT_FALSE(oDispatcher.isLocked());
}

TEST_F(FifoHandlerTest, DumpWritesWhatTheOptionSays)
{
    const auto lRequest = info("82: Dump request via FIFO");
    EXPECT_EQ(lRequest, send("dump -a\n"));
    EXPECT_EQ("pt", dumped());
    EXPECT_EQ(lRequest, send("dump -p and more"));
    EXPECT_EQ("p", dumped());
    EXPECT_EQ(lRequest, send("dumps-t"));
    EXPECT_EQ("t", dumped());
    EXPECT_TRUE(ConfigDispatcher::instance().connectionOpened());
    for (const auto& sCommand : {"dump"s, "dump\n"s, "dump  -a"s, "dump-a"s, "dump -x"s}) {
        EXPECT_THAT(
            send(sCommand),
            ElementsAre(lRequest[0], "error   LedgerdFifo fifohandler:100: Invalid options for dump"));
        EXPECT_EQ("", dumped()) << sCommand;
    }
}

TEST_F(FifoHandlerTest, ADumpWaitsForTheTransactionAndGoesBeforeTheNext)
{
    auto& oDispatcher = ConfigDispatcher::instance();
    oDispatcher.startTransaction(this);
    send("dump -t");
    send("dump -p");
    oDispatcher.processLocks();
    EXPECT_EQ("", dumped());
    EXPECT_EQ(systema::EResultCode::Success, oDispatcher.commitTransaction(this)); // nobody rolled it back
    EXPECT_TRUE(oDispatcher.isPassEndAwaited());
    oDispatcher.processLocks();
    EXPECT_EQ("pt", dumped());
    EXPECT_FALSE(oDispatcher.isPassEndAwaited());
    oDispatcher.processLocks();
    EXPECT_EQ("", dumped());
}

TEST_F(FifoHandlerTest, DumpsInABurstLeaveClientsHalfOfTheTime)
{
    m_oStep = std::chrono::milliseconds(50);
    send("dump -p");
    EXPECT_EQ("p", dumped());
    m_oStep = {};
    for (const char* pCommand : {"dump -t", "waittime 7", "dump -p"}) {
        send(pCommand);
        EXPECT_EQ("", dumped()) << pCommand;
    }
    m_oTime += std::chrono::seconds(1);
    std::string sDumped;
    for (int i = 0; i < 100 && sDumped.empty(); ++i) {
        m_oEvents.handleEvents(10000); // until the pause is over
        ConfigDispatcher::instance().processLocks();
        sDumped = dumped();
    }
    EXPECT_EQ("pt", sDumped);
}

TEST_F(FifoHandlerTest, OfABurstOfEqualCommandsOneTakesEffect)
{
    const auto repeat = [](std::string a_sCommand, int a_iTimes) {
        a_sCommand.resize(256, '\n');
        std::string sAll;
        for (int i = 0; i < a_iTimes; ++i) {
            sAll += a_sCommand;
        }
        return sAll;
    };
    for (const char* pCommand : {"trigger", "dump -a", "lock", "unlock"}) {
        EXPECT_EQ(1U, send(repeat(pCommand, 256)).size()); // all that a FIFO holds
        EXPECT_EQ(1, m_iPasses);
    }
    // Those between which something else stands are not equal to it: the order says what comes of them.
    const std::string sTrigger = "info    LedgerdFifo fifohandler:67: Trigger request via FIFO";
    const std::string sLock = "info    LedgerdFifo fifohandler:72: Lock request via FIFO";
    EXPECT_THAT(send(repeat("trigger", 3) + repeat("lock", 2) + repeat("unlock", 2) + repeat("lock", 1) +
                     repeat("trigger", 2)),
                ElementsAre(sTrigger, sLock, testing::HasSubstr("Unlock"), sLock, sTrigger));
    EXPECT_EQ(5, m_iPasses);
    EXPECT_TRUE(ConfigDispatcher::instance().isLocked());
}

TEST_F(FifoHandlerTest, WaitTimeIsTheNumberBehindOneCharacter)
{
    const auto lNewWait = [](const std::string& a_sWait) {
        return info("116: Wait time change request via FIFO: new value " + a_sWait);
    };
    EXPECT_EQ(lNewWait("5"), send("waittime 5\n"));
    EXPECT_EQ(5, wait());
    EXPECT_EQ(lNewWait("70"), send("waittime=70 s"));
    EXPECT_EQ(70, wait());
    for (const auto& sCommand :
         {"waittime abc"s, "waittime"s, "waittime7"s, "waittime \0007"s, "waittime 7s"s, "waittime -1"s,
          "waittime 99999999999999999999999999999999"s}) {
        EXPECT_THAT(send(sCommand), ElementsAre(testing::HasSubstr("Invalid wait time requested")));
        EXPECT_EQ(70, wait()) << "a typo must not turn the saving off";
    }
    EXPECT_EQ(lNewWait("0"), send("waittime 0"));
    EXPECT_EQ(-1, wait());
    EXPECT_THAT(send("LOCK\n"), ElementsAre(testing::HasSubstr("Unknown command via FIFO: LOCK")));
    EXPECT_THAT(send("\n"), testing::IsEmpty());
}

TEST_F(FifoHandlerTest, PersistModesSetTheWaitAsWellAndSaySo)
{
    const auto expectChange = [this](const std::string& a_sCommand, const std::string& a_sTagAndMode,
                                     const std::string& a_sWait) {
        const auto lLines = send(a_sCommand);
        EXPECT_EQ(info(a_sTagAndMode + " change request via FIFO").front(), lLines.front());
        EXPECT_EQ(a_sWait.empty() ? 1U : 2U, lLines.size());
        EXPECT_THAT(lLines.back(), testing::EndsWith(a_sWait));
    };
    expectChange("persistmode redundant", "129: Persist mode redundant",
                 ": The wait time is 0 s now, it was 20 s");
    EXPECT_EQ(-1, wait());
    EXPECT_THAT(m_lSaves, ElementsAre(2));
    expectChange("persistmode nosqldump\n", "135: Persist mode nosqldump", "");
    EXPECT_EQ(-1, wait()); // as it was
    EXPECT_THAT(m_lSaves, ElementsAre(4));
    expectChange("persistmode:defaults", "123: Persist mode default",
                 ": The wait time is 10 s now, it was 0 s");
    m_oScript.process(false); // what that mode has left unsaved
    EXPECT_EQ(10, wait());
    EXPECT_THAT(m_lSaves, ElementsAre(1));
    for (const auto& sCommand : {"persistmode"s, "persistmode 1"s, "persistmode  nosqldump"s}) {
        EXPECT_THAT(send(sCommand), ElementsAre("error   LedgerdFifo fifohandler:140: Invalid persist mode "
                                                "requested"));
        EXPECT_EQ(10, wait());
    }
}

TEST_F(FifoHandlerTest, OtherBytesDoNothingAndAreLogged)
{
    std::string sAll(256, '\0');
    for (std::size_t i = 0; i < sAll.size(); ++i) {
        sAll[i] = static_cast<char>(i);
    }
    for (const auto& sBytes : {""s, "\n"s, " trigger"s, "Trigger"s, "trigge"s, "\0trigger"s, "unloc"s, sAll,
                               std::string(256, 'x'), std::string(1000, '\0'), std::string(60000, '\xff'),
                               std::string(128, 'x') + "dump -a", std::string(255, 'x') + "dump -a"}) {
        EXPECT_THAT(send(sBytes), testing::Each(testing::HasSubstr(": Unknown command via FIFO: ")));
    }
    EXPECT_THAT(send(std::string(1000, '\0') + "\n"), IsEmpty());
    // What does not fit into one read is the next command.
    EXPECT_EQ(info("67: Trigger request via FIFO").front(), send(std::string(256, 'x') + "trigger").back());
    EXPECT_EQ("", dumped());
    EXPECT_THAT([this] { m_oHandler.handleEvent(0); }, testing::ThrowsMessage<error::AssertionError>(
                                                           "a_handle == m_oFifo.getFd() (fifohandler:59)"));
}

TEST_F(FifoHandlerTest, ASaveWithoutSqlDumpIsCountedAndNotCalledPersisted)
{
    const tests::CommandPath oPath;
    oPath.add("srv-save-config-active", "touch $HERE/ran");
    const auto count = [](int a_iMode, int a_iCount) {
        return std::string("info    ledgerd main:230: ") +
               (a_iMode == 4 ? "Nothing persisted" : "Persisted data") +
               ": mode: " + std::to_string(a_iMode) + " count: " + std::to_string(a_iCount);
    };
    const int iModule = ZEL_Sysloglevel_registerModul("ledgerd");
    EXPECT_THAT(logLinesOf([&] {
                    FlashThread oFlashThread(iModule);
                    FlashBackupHook oHook(m_oDump, oFlashThread, iModule);
                    oHook.persist(PersistScript::c_ePersistNoSqlDump);
                    oHook.persist(PersistScript::c_ePersistNoSqlDump);
                    EXPECT_EQ("", dumped());
                    EXPECT_FALSE(exists(oPath.file("ran")));
                    oHook.persist(PersistScript::c_ePersistRedundant);
                    EXPECT_EQ("p", dumped());
                }),
                ElementsAre(count(4, 1), count(4, 2), count(2, 1)));
    EXPECT_TRUE(exists(oPath.file("ran")));
}

} // namespace
} // namespace zel::cfg
