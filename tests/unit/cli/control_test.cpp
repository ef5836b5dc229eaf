#include "cli/application.h"
#include "cli/outcome.h"
#include "zel/fifo.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sstream>

namespace systema::cli {

namespace {

class ControlTest : public ::testing::Test
{
protected:
    ControlTest() : m_sFifo(::testing::TempDir() + "ledgerctl." + std::to_string(::getpid()) + ".fifo") {}
    ~ControlTest() override { std::filesystem::remove(m_sFifo); }

    void listen() { m_oFifo.emplace(m_sFifo, O_NONBLOCK); }

    /// Runs "ledgerctl ctl" and gives what it says on standard error.
    std::string control(std::vector<std::string> a_lWords)
    {
        a_lWords.insert(a_lWords.begin(), "ctl");
        a_lWords.insert(a_lWords.end(), {"-f", m_sFifo});
        std::istringstream oInput;
        std::ostringstream oOutput;
        std::ostringstream oErrors;
        m_iExit = run(std::move(a_lWords), oInput, oOutput, oErrors, false);
        EXPECT_EQ(oOutput.str(), "");
        return oErrors.str();
    }

    /// What the daemon takes for one command, without its padding.
    std::string received()
    {
        char aCommand[256];
        EXPECT_EQ(m_oFifo->read(aCommand, sizeof aCommand), ssize_t(sizeof aCommand));
        const std::string sCommand(aCommand, sizeof aCommand);
        const std::size_t iPadding = sCommand.find('\n');
        EXPECT_EQ(sCommand.find_first_not_of('\n', iPadding), std::string::npos);
        return sCommand.substr(0, iPadding);
    }

    const std::string m_sFifo;
    std::optional<zel::sys::Fifo> m_oFifo;
    int m_iExit = -1;
};

} // namespace

TEST_F(ControlTest, CommandsInQuickSuccessionStayApart)
{
    listen();
    const std::pair<std::vector<std::string>, std::string> aCommands[] = {
        {{"trigger"}, "trigger"},
        {{"lock"}, "lock"},
        {{"unlock"}, "unlock"},
        {{"dump", "-a"}, "dump -a"},
        {{"dump", "-p"}, "dump -p"},
        {{"dump", "-t"}, "dump -t"},
        {{"waittime", "0"}, "waittime 0"},
        {{"waittime", "2147483647"}, "waittime 2147483647"},
        {{"persistmode", "default"}, "persistmode default"},
        {{"persistmode", "redundant"}, "persistmode redundant"},
        {{"persistmode", "nosqldump"}, "persistmode nosqldump"},
    };
    for (const auto& [lWords, sCommand] : aCommands) {
        EXPECT_EQ(control(lWords), "");
        EXPECT_EQ(m_iExit, 0);
    }
    for (const auto& [lWords, sCommand] : aCommands) {
        EXPECT_EQ(received(), sCommand);
    }
}

TEST_F(ControlTest, WrongUsageWritesNothing)
{
    listen();
    for (const auto& lWords : std::vector<std::vector<std::string>>{{},
                                                                    {"nonsense"},
                                                                    {"trigger", "now"},
                                                                    {"lock", "unlock"},
                                                                    {"dump"},
                                                                    {"dump", "-a", "-p"},
                                                                    {"waittime"},
                                                                    {"waittime", "-1"},
                                                                    {"waittime", "2147483648"},
                                                                    {"waittime", "5s"},
                                                                    {"persistmode"},
                                                                    {"persistmode", "fast"}}) {
        control(lWords);
        EXPECT_EQ(m_iExit, c_iExitUsage) << ::testing::PrintToString(lWords);
    }
    char cByte;
    EXPECT_EQ(m_oFifo->read(&cByte, 1), 0);
}

TEST_F(ControlTest, NeverWaitsAndNeverMakesAFile)
{
    EXPECT_EQ(control({"trigger"}),
              "ledgerctl: cannot write to " + m_sFifo + ": No such file or directory [69]\n");
    EXPECT_FALSE(std::filesystem::exists(m_sFifo));

    listen();
    m_oFifo.reset();
    EXPECT_EQ(control({"trigger"}), "ledgerctl: no daemon listens on " + m_sFifo + " [69]\n");

    listen();
    int iTaken = 0;
    for (control({"trigger"}); m_iExit == 0; control({"trigger"})) {
        ++iTaken;
    }
    EXPECT_GT(iTaken, 1);
    EXPECT_EQ(m_iExit, c_iExitUnreachable);
    for (; iTaken > 0; --iTaken) {
        EXPECT_EQ(received(), "trigger");
    }
}

TEST_F(ControlTest, LeavesAloneWhatIsNoFifo)
{
    const zel::UniqueFd oFile(::open(m_sFifo.c_str(), O_CREAT | O_RDWR, 0600));
    EXPECT_EQ(control({"dump", "-p"}), "ledgerctl: " + m_sFifo + " is not a FIFO [69]\n");
    EXPECT_EQ(::lseek(oFile.get(), 0, SEEK_END), 0);
    std::filesystem::remove(m_sFifo);

    const std::string sOther = m_sFifo + ".other";
    zel::sys::Fifo oOther(sOther, O_NONBLOCK);
    std::filesystem::create_symlink(sOther, m_sFifo);
    EXPECT_EQ(control({"dump", "-p"}), "ledgerctl: " + m_sFifo + " is not a FIFO [69]\n");
    oOther.unlink();
}

} // namespace systema::cli
