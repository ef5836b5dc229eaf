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

class Persistence : public DaemonTest
{
protected:
    Persistence()
    {
        saveAsUsual();
        ::mkfifo(m_oSandbox.path("gate").c_str(), 0600);
        m_oGate.reset(::open(m_oSandbox.path("gate").c_str(), O_RDWR | O_CLOEXEC));
    }

    void saveAsUsual() const { m_oSandbox.setProgram(c_pSave, "echo saved >> " + m_oSandbox.path("saves")); }

    /// The daemon saves only what is triggered.
    void startWithoutWait(std::function<void()> a_oInChild = {})
    {
        start({"-t", "0"}, std::move(a_oInChild));
    }

    void write(const std::string& a_sNote) { EXPECT_EQ(0U, client().code(setNote(a_sNote))); }

    std::string dumpFile(const std::string& a_sDatabase) const
    {
        return m_oSandbox.path("flash/sql/" + a_sDatabase + ".sql");
    }
    std::string dumped() const { return readFile(dumpFile("persistent-common.db")); }

    /// Whether there are complete dumps of all persistent databases, and only of those.
    bool hasAllDumps() const
    {
        return std::ranges::all_of(databaseNames(), [this](const std::string& a_sName) {
            const std::string sDump = readFile(dumpFile(a_sName));
            return a_sName == "transient.db" ? sDump.empty() : sDump.ends_with("\nCOMMIT;\n");
        });
    }

    bool isSaved() const
    {
        return eventually([this] { return fs::exists(m_oSandbox.path("saves")); });
    }

    bool hasLogged(const std::string& a_sText)
    {
        return daemon().errors().find(a_sText) != std::string::npos;
    }

    /// Saves, and expects that it succeeds from dump to save command.
    void expectSaved(const std::string& a_sNote)
    {
        fs::remove(m_oSandbox.path("saves"));
        EXPECT_THAT(logOf([this] { command("trigger\n"); }), Not(Contains(HasSubstr("corrupt"))));
        EXPECT_TRUE(isSaved());
        EXPECT_TRUE(hasAllDumps());
        EXPECT_THAT(dumped(), HasSubstr("'" + a_sNote + "'"));
    }

    /// What a script does that is to wait until the test opens the gate.
    std::string waitAtGate() const
    {
        return "touch " + m_oSandbox.path("begun") + "; read x < " + m_oSandbox.path("gate");
    }
    bool isAtGate() const
    {
        return eventually([this] { return fs::remove(m_oSandbox.path("begun")); });
    }
    void openGate() const { EXPECT_EQ(1, ::write(m_oGate.get(), "\n", 1)); }

    static constexpr const char* c_pSave = "srv-save-config-active";

private:
    zel::UniqueFd m_oGate;
};

TEST_F(Persistence, TheWaitIsOverWhateverClientsDoMeanwhile)
{
    for (const bool bWrites : {false, true}) {
        start({"-t", "1"});
        write("changed");
        int iPolls = 0; // fewer than the events that fill a pass
        for (; daemon().errors().find("Persisted") == std::string::npos && iPolls < 45; ++iPolls) {
            EXPECT_FALSE(client().waitForChange(100ms)->has_value());
            bWrites ? write("changed again") : static_cast<void>(client().code(request::Ping{}));
        }
        EXPECT_LT(iPolls, 45);
        EXPECT_THAT(daemon().errors(),
                    HasSubstr("info    ledgerd main:230: Persisted data: mode: 1 count: 1\n"));
        EXPECT_TRUE(isSaved());
        EXPECT_TRUE(hasAllDumps());
        EXPECT_THAT(dumped(), HasSubstr("'changed"));
        stop();
        fs::remove(m_oSandbox.path("saves"));
    }
}

TEST_F(Persistence, InfoShowsModeAndWaitWhichAModeChanges)
{
    start({"-t", "300"});
    const auto saving = [this] {
        const std::string sInfo = ledgerctl({"--csv", "info"}).m_sOutput;
        return sInfo.substr(sInfo.find("PersistMode"));
    };
    EXPECT_EQ("PersistMode,default\nWaitTime,300\nUnsaved,0\n", saving());
    write("changed");
    command("persistmode nosqldump");
    command("trigger");
    EXPECT_EQ("PersistMode,nosqldump\nWaitTime,300\nUnsaved,1\n", saving());
    EXPECT_THAT(daemon().errors(), Not(HasSubstr("Persisted data")));
    command("persistmode default");
    EXPECT_THAT(saving(), StartsWith("PersistMode,default\nWaitTime,10\n"));
}

TEST_F(Persistence, TheSaveCommandTakesTheDumpsThatTheDaemonMakes)
{
    m_oSandbox.setProgram(c_pSave, "echo $LEDGERD_DUMP_DIRECTORY > " + m_oSandbox.path("saves"));
    writeFile(m_oSandbox.path("etc/ledger-store.conf"), "dump-directory=/configured\nbogus\n");
    fs::create_directory(m_oSandbox.path("given"));
    start({"-t", "0", "-x", m_oSandbox.path("given")});
    EXPECT_THAT(daemon().errors(), HasSubstr("etc/ledger-store.conf: line 2: "));
    write("changed");
    stop();
    EXPECT_EQ(m_oSandbox.path("given") + "\n", readFile(m_oSandbox.path("saves")));
    EXPECT_THAT(readFile(m_oSandbox.path("given/persistent-common.db.sql")), HasSubstr("'changed'"));

    start({"-x", m_oSandbox.path("missing")});
    EXPECT_THAT(daemon().errors(), HasSubstr("There is no dump directory " + m_oSandbox.path("missing")));
    stop();
    const auto oRefused = runDaemon({"-x", m_oSandbox.path("a b")});
    EXPECT_EQ(1, oRefused.m_iStatus);
    EXPECT_THAT(oRefused.m_sErrors, HasSubstr("may have letters, digits and ._/+-,:=@%: "));
}

TEST_F(Persistence, OnlyATriggerSavesWithoutAWaitAndTransientChangesNeverDo)
{
    startWithoutWait();
    write("unsaved");
    EXPECT_THAT(logOf([this] { EXPECT_EQ(0U, client().code(request::DeleteAll{"Twins"})); }), IsEmpty());
    expectSaved("unsaved");
    EXPECT_EQ(0U, client().code(request::InsertRow{"Scratch", row({{"Text", "x"}})}));
    daemon().signal(SIGTERM);
    EXPECT_EQ(0, daemon().wait());
    EXPECT_THAT(daemon().errors(), Not(HasSubstr("count: 2")));
}

TEST_F(Persistence, TheLastSaveIsCompleteWhenTheDaemonIsGone)
{
    m_oSandbox.setProgram(c_pSave,
                          waitAtGate() + "; cat " + m_oSandbox.pidFile() + " > " + m_oSandbox.path("saves"));
    start({"-t", "1000"});
    write("last");
    daemon().signal(SIGTERM);
    EXPECT_TRUE(isAtGate());
    EXPECT_TRUE(hasAllDumps());
    EXPECT_THAT(dumped(), HasSubstr("'last'"));
    EXPECT_FALSE(daemon().hasEnded());
    openGate();
    EXPECT_EQ(0, daemon().wait());
    EXPECT_EQ(std::to_string(daemon().pid()) + "\n", readFile(m_oSandbox.path("saves"))); // not yet removed
    EXPECT_FALSE(fs::exists(m_oSandbox.path("tmp/ledgerd.fifo")));
}

TEST_F(Persistence, LockHoldsNotificationsAndSavesBackUntilUnlock)
{
    startWithoutWait();
    RawClient oWriter(socket());
    EXPECT_TRUE(client().subscribe({"Item"}).ok());
    EXPECT_EQ(0U, client().info("Locked"));
    daemon().signal(SIGSTOP); // so that it finds change and lock at once
    oWriter.send(frameOf(setNote("before the lock")));
    EXPECT_EQ(4, ::write(openFifo().get(), "lock", 4));
    daemon().signal(SIGCONT);
    EXPECT_EQ(0U, oWriter.receiveCode());
    EXPECT_TRUE(eventually([&] { return oWriter.ask(setNote("refused")) == 3U; }));
    EXPECT_EQ(3U, oWriter.ask(request::Begin{}));
    EXPECT_EQ(1U, client().info("Locked"));
    EXPECT_EQ("before the lock", note());
    command("trigger");
    EXPECT_THAT(client().changes(), IsEmpty());
    EXPECT_THAT(daemon().errors(), Not(HasSubstr("Persisted")));
    EXPECT_THAT(logOf([this] { command("unlock"); }), Contains(HasSubstr("Persisted")));
    EXPECT_EQ("Item", **client().waitForChange(c_oDeadline));
    EXPECT_THAT(dumped(), HasSubstr("'before the lock'"));
}

TEST_F(Persistence, ClientsGoOnWhileASlowSaveRunsAndOneMoreFollowsIt)
{
    m_oSandbox.setProgram(c_pSave, waitAtGate() + "; echo saved >> " + m_oSandbox.path("saves"));
    startWithoutWait();
    RawClient oIdle(socket());
    write("first");
    command("trigger");
    ASSERT_TRUE(isAtGate());
    for (int i = 0; i < 20 && !HasFailure(); ++i) {
        command("trigger");
        write("changed meanwhile");
        EXPECT_EQ("changed meanwhile", note());
    }
    EXPECT_THAT(dumped(), HasSubstr("'first'")); // untouched under the command
    command("dump -p");
    EXPECT_THAT(dumped(), HasSubstr("'changed meanwhile'"));
    write("last");
    openGate();
    ASSERT_TRUE(isAtGate());
    EXPECT_THAT(dumped(), HasSubstr("'last'"));
    daemon().signal(SIGTERM);      // waits for the save that runs
    EXPECT_FALSE(oIdle.receive()); // its connection does not
    EXPECT_FALSE(daemon().hasEnded());
    openGate();
    EXPECT_EQ(0, daemon().wait());
    EXPECT_EQ("saved\nsaved\n", readFile(m_oSandbox.path("saves")));
    EXPECT_THAT(daemon().errors(), Not(HasSubstr("count: 3")));
}

TEST_F(Persistence, AChangeWhoseDumpCouldNotBeWrittenIsSavedByTheStop)
{
    const std::string sDumps = m_oSandbox.path("flash/sql");
    m_oSandbox.setProgram(c_pSave, "exec " LEDGERD_PACKAGING "/srv-save-config-active");
    m_oSandbox.setProgram("ledger-restore", "exec " LEDGER_RESTORE_BINARY " \"$@\"");
    startWithoutWait([&] { mountSmallDisk(sDumps, "16m"); });
    const auto remount = [&](const char* a_pOptions) {
        const std::string sPid = std::to_string(daemon().pid());
        return run("/usr/bin/nsenter", {{"-t", sPid, "-m", "mount", "-o", a_pOptions, sDumps}}).m_iStatus ==
               0;
    };
    if (!remount("remount,rw")) {
        GTEST_SKIP() << "a disk cannot be mounted here";
    }
    const auto setHost = [this](const char* a_pName) {
        return client().code(request::UpdateKey{"DhcpStaticLease", "Id", "1", row({{"HostName", a_pName}})});
    };
    EXPECT_EQ(0U,
              client().code(request::InsertRow{
                  "DhcpStaticLease", row({{"MacAddress", "02:00:00:00:00:01"}, {"IpAddress", "10.0.0.2"}})}));
    EXPECT_EQ(0U, setHost("first"));
    command("trigger");
    EXPECT_TRUE(eventually([this] { return fs::exists(m_oSandbox.path("flash/store/generation.1")); }));

    ASSERT_TRUE(remount("remount,ro"));
    EXPECT_EQ(0U, setHost("second"));
    command("trigger");
    EXPECT_TRUE(eventually([this] { return hasLogged("The save has failed and is tried again in 60 s"); }));
    EXPECT_THAT(daemon().errors(),
                Not(HasSubstr("srv-save-config-active failed"))); // nothing has changed for it
    ASSERT_TRUE(remount("remount,rw"));
    stop();
    const auto oRestored =
        run(LEDGER_RESTORE_BINARY, {{"--factory-directory", LEDGERD_FACTORY}, m_oSandbox.environment()});
    EXPECT_EQ(0, oRestored.m_iStatus) << oRestored.m_sErrors;
    EXPECT_THAT(m_oSandbox.sql("persistent-network.db", "SELECT HostName FROM DhcpStaticLease WHERE Id = 1"),
                ElementsAre("second"));
}

TEST_F(Persistence, ABackupWaitsForTheTransactionAndLosesNobodysWork)
{
    startWithoutWait();
    RawClient oOwner(socket());
    write("committed");
    EXPECT_EQ(0U, oOwner.ask(request::Begin{}));
    EXPECT_EQ(0U, oOwner.ask(setNote("kept")));
    Process oBackup(LEDGERCTL_BINARY, {{"backup", m_oSandbox.path("backup.tar")}, m_oSandbox.environment()});
    EXPECT_TRUE(eventually([this] { return hasLogged("Dump request via FIFO"); }));
    EXPECT_EQ(0U, client().code(request::Ping{})); // in the next pass, or a later one
    EXPECT_FALSE(fs::exists(dumpFile("persistent-common.db")));
    EXPECT_EQ(0U, oOwner.ask(request::Commit{}));
    EXPECT_EQ(0, oBackup.wait());
    EXPECT_TRUE(hasAllDumps());
    EXPECT_THAT(dumped(), HasSubstr("'kept'"));

    EXPECT_EQ(0U,
              client().code(request::UpdateRow{"ConfigServerConfig", 0, row({{"TransactionTimeout", 1}})}));
    EXPECT_EQ(0U, oOwner.ask(request::Begin{}));
    EXPECT_EQ(0U, oOwner.ask(setNote("too late")));
    EXPECT_EQ(7, ::write(openFifo().get(), "dump -t", 7)); // waits no longer than that
    EXPECT_TRUE(eventually([this] { return fs::exists(dumpFile("transient.db")); }));
    EXPECT_THAT(daemon().errors(), HasSubstr("it lasted longer than the transaction time-out"));
    EXPECT_EQ("kept", note());
}

TEST_F(Persistence, ADumpLoadedByTheShellGivesEveryRow)
{
    startWithoutWait();
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
    startWithoutWait();
    EXPECT_EQ(sBefore, exported());
}

TEST_F(Persistence, ManyClientsGoOnAfterADumpAsIfNothingHadBeen)
{
    m_oSandbox.addLargeTable(3000, 1000);
    startWithoutWait();
    const std::string sDump = m_oSandbox.path("flash/sql/persistent-common.db.sql");
    std::list<RawClient> lClients;
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(0U, lClients.emplace_back(socket()).ask(request::Subscribe{{"Item"}}));
    }
    for (const char* pDump : {"dump -a", "dump -p", "trigger"}) {
        RawClient oReader(socket());
        const std::string sRead = frameOf(request::SelectRows{"Large"});
        oReader.send(sRead);
        ASSERT_TRUE(oReader.receive());
        std::error_code oNone;
        const auto oBefore = fs::last_write_time(sDump, oNone);
        command(pDump);
        EXPECT_TRUE(eventually([&] { return fs::last_write_time(sDump, oNone) > oBefore; }));
        EXPECT_EQ(2U, oReader.receiveLast()); // read again
        oReader.send(sRead);
        EXPECT_EQ(0U, oReader.receiveLast());
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
        startWithoutWait();
        const auto pReader =
            use(m_oSandbox.database("persistent-common.db"), "BEGIN; SELECT COUNT(*) FROM Item");
        const std::string sCorrupt =
            "error SqliteDump SQL dump " + dumpFile("services.db") + " is corrupt. Retry ";
        EXPECT_THAT(
            logOf([this] { command("dump -p"); }),
            testing::IsSupersetOf({sCorrupt + "2 times", sCorrupt + "1 times", sCorrupt + "0 times"}));
        EXPECT_FALSE(hasAllDumps());
        EXPECT_THAT(dumped(), HasSubstr("'red'"));
        EXPECT_EQ(2U, client().code(setNote("busy")));
    }
    write("free again");
    expectSaved("free again");
}

TEST_F(Persistence, AWriterThatAKilledDaemonLeavesGetsThroughToTheNext)
{
    startWithoutWait();
    daemon().signal(SIGKILL);
    ASSERT_TRUE(daemon().wait());
    Process oWriter("/bin/sh", {{"-c", "echo trigger > \"$0\"", m_oSandbox.path("tmp/ledgerd.fifo")}, {}});
    startWithoutWait();
    EXPECT_EQ(0, oWriter.wait());
    EXPECT_TRUE(isSaved());
    EXPECT_TRUE(hasAllDumps());
}

TEST_F(Persistence, FullFlashIsLoggedAndTheNextSaveIsGoodAgain)
{
    const std::string sDumps = m_oSandbox.path("flash/sql");
    m_oSandbox.sql("persistent-common.db", "UPDATE Item SET Note = printf('%0200000d', 0) WHERE Id = 2");
    startWithoutWait([&] {
        if (mountSmallDisk(sDumps)) {
            writeFile(sDumps + "/filler", std::string(4000 * 1024, 'x')); // leaves room for half of it
        }
    });
    if (!fs::exists(seenByDaemon("flash/sql/filler"))) {
        GTEST_SKIP() << "a disk cannot be mounted here";
    }
    write("not saved");
    EXPECT_THAT(logOf([this] { command("trigger"); }), Contains(HasSubstr(" is corrupt. Retry ")).Times(21));
    EXPECT_TRUE(isSaved()); // all the same
    EXPECT_EQ("not saved", note());
    fs::remove(seenByDaemon("flash/sql/filler"));
    EXPECT_THAT(logOf([this] {
                    command("trigger");
                    EXPECT_TRUE(eventually([this] { return hasLogged("count: 2"); })); // after the one before
                }),
                Not(Contains(HasSubstr("corrupt"))));
    EXPECT_THAT(readFile(seenByDaemon("flash/sql/persistent-common.db.sql")),
                testing::AllOf(HasSubstr("'not saved'"), EndsWith("COMMIT;\n")));

    // The complete dumps of before are no proof of new ones.
    const std::string sPid = std::to_string(daemon().pid());
    ASSERT_EQ(0,
              run("/usr/bin/nsenter", {{"-t", sPid, "-m", "mount", "-o", "remount,ro", sDumps}}).m_iStatus);
    EXPECT_THAT(logOf([this] {
                    command("trigger");
                    EXPECT_TRUE(eventually([this] { return hasLogged("count: 3"); }));
                }),
                Contains(HasSubstr("persistent-common.db.sql is corrupt. Retry 0 times")));
}

TEST_F(Persistence, KilledWhileItSavesTheNextDaemonHasTheChangeAndSavesIt)
{
    for (const char* pKilledIn : {"sqlite3", c_pSave}) {
        m_oSandbox.setProgram(pKilledIn, waitAtGate());
        startWithoutWait();
        write(pKilledIn);
        EXPECT_EQ(7, ::write(openFifo().get(), "trigger", 7));
        ASSERT_TRUE(isAtGate());
        daemon().signal(SIGKILL);
        ASSERT_TRUE(daemon().wait());
        openGate();
        fs::remove(m_oSandbox.path("bin/sqlite3"));
        saveAsUsual();
        startWithoutWait();
        EXPECT_EQ(pKilledIn, note());
        expectSaved(pKilledIn);
        stop();
    }
}

TEST_F(Persistence, WhatAKilledDaemonHasNotSavedIsSavedByTheStopOfTheNext)
{
    startWithoutWait();
    write("of the killed one");
    daemon().signal(SIGKILL);
    ASSERT_TRUE(daemon().wait());
    m_oSandbox.setProgram(c_pSave, "exit 2");
    startWithoutWait();
    stop();
    EXPECT_THAT(dumped(), HasSubstr("'of the killed one'"));

    saveAsUsual(); // this was no save, either
    startWithoutWait();
    stop();
    EXPECT_TRUE(fs::remove(m_oSandbox.path("saves")));
    startWithoutWait();
    stop();
    EXPECT_FALSE(fs::exists(m_oSandbox.path("saves")));
}

} // namespace
} // namespace e2e
