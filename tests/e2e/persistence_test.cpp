// What is saved, when, and how it comes back; the command channel; and bad luck with all of it.
#include "tests/e2e/daemontest.h"

#include <sqlite3.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <list>
#include <sys/stat.h>
#include <unistd.h>

namespace e2e {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// A directory of the test's own is the first on the daemon's path; the save command is there.
class Persistence : public DaemonTest
{
protected:
    Persistence()
    {
        fs::create_directory(m_oSandbox.path("bin"));
        putScript(c_pSave, "echo saved >> " + m_oSandbox.path("saves"));
    }

    void putScript(const std::string& a_sName, const std::string& a_sScript) const
    {
        fs::remove(m_oSandbox.path("bin/" + a_sName));
        writeFile(m_oSandbox.path("bin/" + a_sName), "#!/bin/sh\n" + a_sScript + "\n");
        fs::permissions(m_oSandbox.path("bin/" + a_sName), fs::perms(0755));
    }

    /// Starts the daemon with the wait; without it only what is triggered is saved.
    void startWith(
        const std::string& a_sWait, const std::function<void()>& a_oInChild = [] {})
    {
        start({"-t", a_sWait}, [&] {
            ::setenv("PATH", (m_oSandbox.path("bin") + ":" + std::getenv("PATH")).c_str(), 1);
            a_oInChild();
        });
    }

    static request::UpdateKey setNote(const std::string& a_sNote)
    {
        return {"Item", "Id", "1", row({{"Note", a_sNote.c_str()}})};
    }

    void write(const std::string& a_sNote) { EXPECT_EQ(0U, client().code(setNote(a_sNote))); }

    /// Ends the daemon, and gives all that it has logged.
    std::string logAtItsEnd()
    {
        daemon().signal(SIGTERM);
        EXPECT_EQ(0, daemon().wait());
        return daemon().errors();
    }

    std::string dumpFile(const std::string& a_sDatabase) const
    {
        return m_oSandbox.path("flash/sql/" + a_sDatabase + ".sql");
    }

    /// Whether there are complete dumps of all persistent databases, and only of those.
    bool hasAllDumps() const
    {
        return std::ranges::all_of(databaseNames(), [this](const std::string& a_sName) {
            const std::string sDump = readFile(dumpFile(a_sName));
            return a_sName == "transient.db" ? sDump.empty() : sDump.ends_with("\nCOMMIT;\n");
        });
    }

    /// Saves, and expects that it succeeds from dump to save command.
    void expectSaved(const std::string& a_sNote)
    {
        fs::remove(m_oSandbox.path("saves"));
        EXPECT_THAT(logOf([this] { command("trigger\n"); }), Not(testing::Contains(HasSubstr("corrupt"))));
        EXPECT_TRUE(eventually([this] { return readFile(m_oSandbox.path("saves")) == "saved\n"; }));
        EXPECT_TRUE(hasAllDumps());
        EXPECT_THAT(readFile(dumpFile("persistent-common.db")), HasSubstr("'" + a_sNote + "'"));
    }

    /// A save of which nothing reaches the dump directory.
    void expectNothingDumped()
    {
        fs::remove(m_oSandbox.path("saves"));
        write("not saved");
        const auto lLog = logOf([this] { command("trigger"); });
        EXPECT_EQ(21, std::ranges::count_if(lLog, [](const std::string& a_sLine) {
                      return a_sLine.find(" is corrupt. Retry ") != std::string::npos;
                  }));
        EXPECT_TRUE(eventually([this] { return fs::exists(m_oSandbox.path("saves")); })); // all the same
        EXPECT_EQ("not saved", client().cell("Item", 1, "Note"));
    }

    static constexpr const char* c_pSave = "srv-save-config-active";
};

/// Keeps a script of the test from going on, until it is opened or goes.
class Gate
{
public:
    explicit Gate(const Sandbox& a_oSandbox)
        : m_sBegun(a_oSandbox.path("begun")),
          m_sGate(a_oSandbox.path("gate"))
    {
        ::mkfifo(m_sGate.c_str(), 0600);
        m_oGate.reset(::open(m_sGate.c_str(), O_RDWR | O_CLOEXEC));
    }

    ~Gate()
    {
        fs::remove(m_sBegun);
        fs::remove(m_sGate);
    }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    /// What the script has to do.
    std::string script() const { return "touch " + m_sBegun + "; read x < " + m_sGate; }
    bool waitForScript() const
    {
        return eventually([this] { return fs::exists(m_sBegun); });
    }
    void open() { EXPECT_EQ(1, ::write(m_oGate.get(), "\n", 1)); }

private:
    const std::string m_sBegun;
    const std::string m_sGate;
    zel::UniqueFd m_oGate;
};

class PersistenceWait : public Persistence, public testing::WithParamInterface<bool>
{
};

TEST_P(PersistenceWait, IsOverWhateverClientsDoMeanwhile)
{
    startWith("1");
    write("changed");
    int iPolls = 0; // fewer than the events that fill a pass
    for (; daemon().errors().find("Persisted") == std::string::npos && iPolls < 45; ++iPolls) {
        EXPECT_FALSE(client().waitForChange(100ms)->has_value());
        GetParam() ? write("changed again") : static_cast<void>(client().code(request::Ping{}));
    }
    EXPECT_LT(iPolls, 45);
    EXPECT_THAT(daemon().errors(), HasSubstr("info    ledgerd main:230: Persisted data: mode: 1 count: 1\n"));
    EXPECT_TRUE(eventually([this] { return fs::exists(m_oSandbox.path("saves")); }));
    EXPECT_TRUE(hasAllDumps());
    EXPECT_THAT(readFile(dumpFile("persistent-common.db")), HasSubstr("'changed"));
}

INSTANTIATE_TEST_SUITE_P(, PersistenceWait, testing::Bool(),
                         [](const auto& a_oInfo) { return a_oInfo.param ? "Write" : "Read"; });

TEST_F(Persistence, OnlyATriggerSavesWithoutAWaitAndTransientChangesNeverDo)
{
    startWith("0");
    write("unsaved");
    EXPECT_THAT(logOf([this] { EXPECT_EQ(0U, client().code(request::DeleteAll{"Twins"})); }), IsEmpty());
    expectSaved("unsaved");
    EXPECT_EQ(0U, client().code(request::InsertRow{"Scratch", row({{"Text", "x"}})}));
    EXPECT_THAT(logAtItsEnd(), Not(HasSubstr("count: 2")));
}

TEST_F(Persistence, TheLastSaveIsCompleteWhenTheDaemonIsGone)
{
    Gate oGate(m_oSandbox);
    putScript(c_pSave, oGate.script() + "; cat " + m_oSandbox.pidFile() + " > " + m_oSandbox.path("saves"));
    startWith("1000");
    write("last");
    daemon().signal(SIGTERM);
    EXPECT_TRUE(oGate.waitForScript());
    EXPECT_TRUE(hasAllDumps());
    EXPECT_THAT(readFile(dumpFile("persistent-common.db")), HasSubstr("'last'"));
    EXPECT_FALSE(daemon().hasEnded());
    oGate.open();
    EXPECT_EQ(0, daemon().wait());
    EXPECT_EQ(std::to_string(daemon().pid()) + "\n", readFile(m_oSandbox.path("saves"))); // not yet removed
    EXPECT_FALSE(fs::exists(m_oSandbox.path("tmp/ledgerd.fifo")));
}

TEST_F(Persistence, AStopTriesASaveThatFailedOnceMore)
{
    const std::string sFailed = m_oSandbox.path("failed");
    putScript(c_pSave, "[ -e " + sFailed + " ] || { touch " + sFailed + "; exit 5; }; touch " +
                           m_oSandbox.path("saves"));
    startWith("0");
    command("trigger");
    EXPECT_TRUE(eventually([&] { return fs::exists(sFailed); }));
    stop();
    EXPECT_TRUE(fs::exists(m_oSandbox.path("saves")));
}

TEST_F(Persistence, LockHoldsNotificationsAndSavesBackUntilUnlock)
{
    startWith("0");
    RawClient oWriter(socket());
    EXPECT_TRUE(client().subscribe({"Item"}).ok());
    daemon().signal(SIGSTOP); // so that it finds change and lock at once
    oWriter.send(frameOf(setNote("before the lock")));
    {
        const zel::UniqueFd oFifo = openFifo();
        EXPECT_EQ(4, ::write(oFifo.get(), "lock", 4));
    }
    daemon().signal(SIGCONT);
    EXPECT_EQ(0U, oWriter.receiveCode());
    EXPECT_TRUE(eventually([&] { return oWriter.ask(setNote("refused")) == 3U; }));
    EXPECT_EQ(3U, oWriter.ask(request::Begin{}));
    EXPECT_EQ("before the lock", client().cell("Item", 1, "Note"));
    command("trigger");
    EXPECT_THAT(client().changes(), IsEmpty());
    EXPECT_THAT(daemon().errors(), Not(HasSubstr("Persisted")));
    EXPECT_THAT(logOf([this] { command("unlock"); }), testing::Contains(HasSubstr("Persisted")));
    EXPECT_EQ("Item", **client().waitForChange(c_oDeadline));
    EXPECT_THAT(readFile(dumpFile("persistent-common.db")), HasSubstr("'before the lock'"));
}

class Dump : public Persistence
{
protected:
    void SetUp() override { startWith("0"); }
};

TEST_F(Dump, HoldsCommittedRowsOnlyAndTheOwnerOfATransactionIsTold)
{
    RawClient oOwner(socket());
    write("committed");
    EXPECT_EQ(0U, oOwner.ask(request::Begin{}));
    EXPECT_EQ(0U, oOwner.ask(setNote("lost")));
    command("dump -p");
    const auto oEvent = oOwner.receive();
    EXPECT_TRUE(oEvent && oEvent->m_eOperation == EOperation::TransactionLost);
    EXPECT_EQ(1U, oOwner.ask(setNote("outside")));
    EXPECT_EQ(1U, oOwner.ask(request::Commit{}));
    EXPECT_TRUE(hasAllDumps());
    EXPECT_THAT(readFile(dumpFile("persistent-common.db")),
                testing::AllOf(HasSubstr("'committed'"), Not(HasSubstr("'lost'"))));
    EXPECT_EQ("committed", client().cell("Item", 1, "Note"));
}

TEST_F(Dump, LoadedByTheShellGivesEveryRow)
{
    const std::string sText("line\nquote ' \" \\ \xc3\xa4 \x01 \xff; COMMIT;\n");
    write(sText);
    EXPECT_EQ(0U, client().code(request::InsertRow{"Scratch", row({{"Text", sText.c_str()}})}));
    command("dump -a");
    const std::string sBefore = exported();
    stop();
    for (const auto& sName : databaseNames()) {
        fs::remove(m_oSandbox.database(sName));
        const auto oLoaded =
            run("/bin/sh",
                {{"-c", "sqlite3 -bail \"$0\" < \"$1\"", m_oSandbox.database(sName), dumpFile(sName)}});
        EXPECT_EQ(0, oLoaded.m_iStatus) << oLoaded.m_sErrors;
    }
    startWith("0");
    EXPECT_EQ(sBefore, exported());
}

TEST_F(Dump, ManyClientsGoOnAsIfNothingHadBeen)
{
    stop();
    m_oSandbox.sql("transient.db",
                   "WITH RECURSIVE Counter(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM Counter LIMIT 3000)"
                   " INSERT INTO Scratch SELECT n, printf('%01000d', n) FROM Counter");
    startWith("0");
    std::list<RawClient> lClients;
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(0U, lClients.emplace_back(socket()).ask(request::Subscribe{{"Item"}}));
    }
    for (const char* pDump : {"dump -a", "dump -p", "trigger"}) {
        RawClient oReader(socket());
        const std::string sRead = frameOf(request::SelectRows{"Scratch"});
        oReader.send(sRead);
        ASSERT_TRUE(oReader.receive());
        command(pDump);
        const auto readToTheEnd = [&] {
            auto oFrame = oReader.receive();
            while (oFrame && oFrame->m_eKind == EKind::Part) {
                oFrame = oReader.receive();
            }
            return oFrame ? oFrame->m_iCode : 99;
        };
        EXPECT_EQ(2U, readToTheEnd()); // read again
        oReader.send(sRead);
        EXPECT_EQ(0U, readToTheEnd());
        for (auto& oClient : lClients) {
            EXPECT_EQ(0U, oClient.ask(request::SelectKey{"Item", "Id", "1"}));
            EXPECT_EQ(0U, oClient.ask(request::UpdateKey{"Job", "Id", "1", row({{"Name", pDump}})}));
        }
        write(pDump);
        for (auto& oClient : lClients) {
            const auto oEvent = oClient.receive();
            ASSERT_TRUE(oEvent && oEvent->m_eOperation == EOperation::TableChanged);
        }
    }
}

/// Runs a statement on a database that the daemon uses as well; the lock stays until the result goes.
std::unique_ptr<sqlite3, decltype(&sqlite3_close)> use(const std::string& a_sFile, const char* a_pStatement)
{
    sqlite3* pDatabase = nullptr;
    sqlite3_open(a_sFile.c_str(), &pDatabase);
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(pDatabase, a_pStatement, nullptr, nullptr, nullptr));
    return {pDatabase, &sqlite3_close};
}

TEST_F(Persistence, DatabasesInUseByAnotherProcessDoNotKeepTheOthersFromBeingSaved)
{
    {
        const auto pWriter = use(m_oSandbox.database("services.db"), "BEGIN EXCLUSIVE");
        startWith("0");
        const auto pReader =
            use(m_oSandbox.database("persistent-common.db"), "BEGIN; SELECT COUNT(*) FROM Item");
        const std::string sCorrupt =
            "error SqliteDump SQL dump " + dumpFile("services.db") + " is corrupt. Retry ";
        EXPECT_THAT(
            logOf([this] { command("dump -p"); }),
            testing::IsSupersetOf({sCorrupt + "2 times", sCorrupt + "1 times", sCorrupt + "0 times"}));
        EXPECT_FALSE(hasAllDumps());
        EXPECT_THAT(readFile(dumpFile("persistent-common.db")), HasSubstr("'red'"));
        EXPECT_EQ(2U, client().code(setNote("busy")));
    }
    write("free again");
    expectSaved("free again");
}

TEST_F(Dump, AWriterThatAKilledDaemonLeavesGetsThroughToTheNext)
{
    daemon().signal(SIGKILL);
    ASSERT_TRUE(daemon().wait());
    Process oWriter("/bin/sh", {{"-c", "echo trigger > \"$0\"", m_oSandbox.path("tmp/ledgerd.fifo")}, {}});
    startWith("0");
    EXPECT_EQ(0, oWriter.wait());
    EXPECT_TRUE(eventually([this] { return fs::exists(m_oSandbox.path("saves")); }));
    EXPECT_TRUE(hasAllDumps());
}

TEST_F(Persistence, FullFlashIsLoggedAndTheNextSaveIsGoodAgain)
{
    const std::string sDumps = m_oSandbox.path("flash/sql");
    if (!canMountSmallDisk(sDumps)) {
        GTEST_SKIP() << "a disk cannot be mounted here";
    }
    m_oSandbox.sql("persistent-common.db", "UPDATE Item SET Note = printf('%0200000d', 0) WHERE Id = 2");
    startWith("0", [&] {
        mountSmallDisk(sDumps);
        writeFile(sDumps + "/filler", std::string(4000 * 1024, 'x')); // leaves room for half of it
    });
    expectNothingDumped();
    fs::remove(seenByDaemon("flash/sql/filler"));
    EXPECT_THAT(logOf([this] { command("trigger"); }), testing::Contains(HasSubstr("count: 2")).Times(1));
    EXPECT_THAT(readFile(seenByDaemon("flash/sql/persistent-common.db.sql")),
                testing::AllOf(HasSubstr("'not saved'"), testing::EndsWith("COMMIT;\n")));

    // The complete dumps of before are no proof of new ones.
    const std::string sPid = std::to_string(daemon().pid());
    ASSERT_EQ(0,
              run("/usr/bin/nsenter", {{"-t", sPid, "-m", "mount", "-o", "remount,ro", sDumps}}).m_iStatus);
    EXPECT_THAT(logOf([this] { command("trigger"); }),
                testing::Contains(HasSubstr("persistent-common.db.sql is corrupt. Retry 0 times")));
}

TEST_F(Persistence, KilledWhileItSavesTheNextDaemonHasTheChangeAndSavesIt)
{
    for (const char* pKilledIn : {"sqlite3", c_pSave}) {
        {
            Gate oGate(m_oSandbox);
            putScript(pKilledIn, oGate.script());
            startWith("0");
            write(pKilledIn);
            const zel::UniqueFd oFifo = openFifo();
            EXPECT_EQ(7, ::write(oFifo.get(), "trigger", 7));
            ASSERT_TRUE(oGate.waitForScript());
            daemon().signal(SIGKILL);
            ASSERT_TRUE(daemon().wait());
        }
        fs::remove(m_oSandbox.path("bin/sqlite3"));
        putScript(c_pSave, "echo saved >> " + m_oSandbox.path("saves"));
        startWith("0");
        EXPECT_EQ(pKilledIn, client().cell("Item", 1, "Note"));
        expectSaved(pKilledIn);
        stop();
    }
}

} // namespace
} // namespace e2e
