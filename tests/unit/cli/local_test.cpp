// What ledgerctl does without the daemon's socket: commands for the FIFO, and dumps.
#include "cli/application.h"
#include "cli/commandline.h"
#include "cli/control.h"
#include "cli/dumpwatch.h"
#include "cli/outcome.h"
#include "cli/words.h"
#include "tests/unit/zel/tempdir.h"
#include "zel/fifo.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

namespace systema::cli {

namespace fs = std::filesystem;

namespace {

class LocalTest : public ::testing::Test
{
protected:
    std::string path(const std::string& a_sName) const { return m_oDirectory.file(a_sName); }

    void write(const std::string& a_sName, const std::string& a_sText) const
    {
        fs::create_directories(fs::path(path(a_sName)).parent_path());
        writeFile(path(a_sName), a_sText);
    }

    /// What ledgerctl writes, and its errors.
    std::string ledgerctl(const std::string& a_sLine)
    {
        std::istringstream oInput;
        std::ostringstream oOutput;
        m_iExit = run(*splitWords(a_sLine), oInput, oOutput, oOutput, false);
        return oOutput.str();
    }
    std::string control(const std::string& a_sLine) { return ledgerctl("ctl -f " + path("fifo ") + a_sLine); }

    void listen() { m_oFifo.emplace(path("fifo"), O_NONBLOCK); }

    /// What the daemon takes for one command, without its padding.
    std::string received()
    {
        std::string sCommand(256, '\0');
        EXPECT_EQ(m_oFifo->read(sCommand.data(), sCommand.size()), ssize_t(sCommand.size()));
        const std::size_t iPadding = sCommand.find('\n');
        EXPECT_EQ(sCommand.find_first_not_of('\n', iPadding), std::string::npos);
        return sCommand.substr(0, iPadding);
    }

    const TempDir m_oDirectory;
    std::optional<zel::sys::Fifo> m_oFifo;
    int m_iExit = -1;
};

} // namespace

TEST_F(LocalTest, CommandsInQuickSuccessionStayApart)
{
    const char* const aCommands[] = {"trigger",
                                     "lock",
                                     "unlock",
                                     "dump -a",
                                     "dump -p",
                                     "dump -t",
                                     "waittime 0",
                                     "waittime 2147483647",
                                     "persistmode default"};
    listen();
    for (const char* pCommand : aCommands) {
        CommandLine oLine(CommandLine::EGrammar::Program);
        std::ostringstream oNone;
        ASSERT_TRUE(oLine.parse(splitWords(std::string("ctl ") + pCommand).value(), oNone).ok());
        EXPECT_TRUE(sendControl(path("fifo"), oLine.arguments().m_sControl).ok());
    }
    for (const char* pCommand : aCommands) {
        EXPECT_EQ(received(), pCommand);
    }
}

TEST_F(LocalTest, ControlNeverMakesAFileAndTellsThatNobodyTakesItsCommand)
{
    const std::string sFifo = path("fifo");
    EXPECT_EQ(control("lock"), "ledgerctl: no daemon listens on " + sFifo + " [69]\n");
    EXPECT_FALSE(fs::exists(sFifo));
    listen();
    m_oFifo.reset();
    EXPECT_EQ(control("lock"), "ledgerctl: no daemon listens on " + sFifo + " [69]\n");

    listen();
    EXPECT_EQ(control("lock -t 1"),
              "ledgerctl: the daemon that listens on " + sFifo +
                  " has not taken the command within 1 s; it takes it when it goes on [69]\n");
    int iTaken = 0;
    while (sendControl(sFifo, "trigger").ok()) {
        ++iTaken;
    }
    EXPECT_EQ(sendControl(sFifo, "trigger").m_iExit, c_iExitUnreachable);
    EXPECT_EQ(received(), "lock");
    for (; iTaken > 0; --iTaken) {
        EXPECT_EQ(received(), "trigger");
    }
}

TEST_F(LocalTest, ControlLeavesAloneWhatIsNoFifo)
{
    const std::string sError = "ledgerctl: " + path("fifo") + " is not a FIFO [69]\n";
    write("fifo", "untouched");
    EXPECT_EQ(control("dump -p"), sError);
    EXPECT_EQ(fs::file_size(path("fifo")), 9u);

    fs::rename(path("fifo"), path("file"));
    const zel::sys::Fifo oFifo(path("other"), O_NONBLOCK);
    fs::create_symlink(path("other"), path("fifo"));
    EXPECT_EQ(control("dump -p"), sError);
}

TEST_F(LocalTest, RestoreCheckJudgesEveryDumpAndWhetherTheSetIsWhole)
{
    const std::string sBegin = "PRAGMA foreign_keys=OFF;\nBEGIN TRANSACTION;\nCREATE TABLE T (Id INTEGER);\n";
    std::string sAllGood;
    for (const char* pName : {"persistent-area", "persistent-common", "persistent-network",
                              "persistent-phone", "persistent-tr069", "persistent-web", "services"}) {
        const std::string sDump = std::string(pName) + ".db.sql";
        write("generation.9/" + sDump, sBegin + "COMMIT;\n");
        write("generation.10/" + sDump, sBegin + "COMMIT;\n");
        sAllGood += sDump + ": ok\n";
    }
    EXPECT_EQ(ledgerctl("restore-check " + path("generation.9")), sAllGood);
    EXPECT_EQ(m_iExit, 0);

    fs::remove(path("generation.10/persistent-area.db.sql"));
    write("generation.10/contents", "persistent-area.db.sql\npersistent-common.db.sql\n");
    write("generation.10/persistent-common.db.sql", sBegin);
    write("generation.10/foo.db.sql", sBegin + "COMMIT;\n");
    write("generation.010/foo.db.sql", "no generation");
    write("new/foo.db.sql", "a save that was interrupted");
    fs::create_directory(path("generation.11"));
    EXPECT_THAT(
        ledgerctl("--csv restore-check " + path("")),
        testing::AllOf(testing::HasSubstr("dump,fault\ngeneration.11,no dump in it\n"
                                          "generation.10/foo.db.sql,not a dump of a persistent database\n"
                                          "generation.10/persistent-common.db.sql,"
                                          "cut off or rolled back: does not end with COMMIT\n"
                                          "generation.10/persistent-network.db.sql,\n"),
                       testing::HasSubstr("generation.10/persistent-area.db.sql,is missing\n"),
                       testing::HasSubstr("ledgerctl: bad: 4 of 16 [1]\n")));
    ledgerctl("restore-check " + path("generation.11"));
    EXPECT_EQ(m_iExit, 1);
    ledgerctl("restore-check " + path("missing"));
    EXPECT_EQ(m_iExit, c_iExitUsage);
}

TEST_F(LocalTest, RestoreCheckMissesNothingThatOlderFirmwareNeverSaved)
{
    write("generation.1/services.db.sql", "PRAGMA foreign_keys=OFF;\nBEGIN TRANSACTION;\n"
                                          "CREATE TABLE T (Id INTEGER);\nCOMMIT;\n");
    EXPECT_EQ(ledgerctl("restore-check " + path("")), "generation.1/services.db.sql: ok\n");
    EXPECT_EQ(m_iExit, 0);
    write("generation.1/contents", "services.db.sql\npersistent-area.db.sql\n");
    EXPECT_THAT(ledgerctl("restore-check " + path("")),
                testing::HasSubstr("generation.1/persistent-area.db.sql: is missing\n"));
}

TEST_F(LocalTest, DumpsCountOnceAllAreWrittenInOneRun)
{
    DumpWatch oWatch(m_oDirectory.path(), {"a", "b", "c"});
    const auto oWritten = [&](std::initializer_list<const char*> a_lNames) {
        for (const char* pName : a_lNames) {
            write(pName, "text");
        }
        return oWatch.waitForDumps(DumpWatch::Clock::now());
    };
    EXPECT_FALSE(oWritten({"b", "c"})) << "of a run that began before";
    EXPECT_FALSE(oWritten({"a", "b", "other"}));
    EXPECT_TRUE(oWritten({"b", "c"})) << "the second was repeated";
    EXPECT_FALSE(oWatch.touched());
    EXPECT_FALSE(oWritten({})) << "nothing new";
    EXPECT_FALSE(oWritten({"a"})) << "the next run";
    EXPECT_TRUE(oWatch.touched());
    EXPECT_TRUE(oWritten({"b", "c"}));
    EXPECT_FALSE(DumpWatch(path("missing"), {"a"}).ok());
}

} // namespace systema::cli
