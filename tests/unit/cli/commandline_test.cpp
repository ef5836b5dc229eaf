#include "cli/application.h"
#include "cli/commandline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace systema::cli {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

class CommandLineTest : public ::testing::Test
{
protected:
    /// The arguments of a line that must be right.
    const Arguments& parse(std::vector<std::string> a_lWords)
    {
        const Outcome oOutcome = m_oCommandLine.parse(std::move(a_lWords), m_oOutput);
        EXPECT_TRUE(oOutcome.ok()) << oOutcome.m_sText;
        return m_oCommandLine.arguments();
    }

    CommandLine m_oCommandLine{CommandLine::EGrammar::Program};
    std::ostringstream m_oOutput;
};

std::string readFile(const std::string& a_sName)
{
    std::ifstream oFile(std::filesystem::path(__FILE__).parent_path() / "../../../packaging" / a_sName);
    return {std::istreambuf_iterator<char>(oFile), {}};
}

} // namespace

TEST_F(CommandLineTest, OptionsStandBeforeOrAfterTheCommand)
{
    const Arguments& oArguments = parse({"-s", "/x", "-t", "3", "tables", "--json"});
    EXPECT_EQ(oArguments.m_sSocket, "/x");
    EXPECT_EQ(oArguments.m_oTimeout, std::chrono::seconds(3));
    EXPECT_EQ(oArguments.m_eFormat, EFormat::Json);
    EXPECT_STREQ(m_oCommandLine.command()->m_pName, "tables");

    parse({"--csv", "info"});
    EXPECT_EQ(oArguments.m_eFormat, EFormat::Csv);
    EXPECT_FALSE(oArguments.m_oTimeout) << "nothing is left from the line before";
    EXPECT_THAT(oArguments.m_sSocket, ::testing::EndsWith("/tmp/ledgerd.socket"));
}

TEST_F(CommandLineTest, TakesTheWordsOfEachCommand)
{
    const Arguments& oArguments = parse({"get", "T", "A", "B", "--key", "Name=a=b"});
    EXPECT_EQ(oArguments.m_sTable, "T");
    EXPECT_THAT(oArguments.m_lNames, ElementsAre("A", "B"));
    EXPECT_EQ(oArguments.m_oKey->m_sColumn, "Name");
    EXPECT_EQ(oArguments.m_oKey->m_oText, "a=b");

    parse({"get", "get", "set"});
    EXPECT_EQ(oArguments.m_sTable, "get") << "a table may be named like a command";
    EXPECT_THAT(oArguments.m_lNames, ElementsAre("set"));
    EXPECT_FALSE(oArguments.m_oKey);

    parse({"set", "T", "--row", "4294967295", "A=1", "B:null", "C="});
    EXPECT_EQ(oArguments.m_oRow, 4294967295u);
    ASSERT_EQ(oArguments.m_lAssignments.size(), 3u);
    EXPECT_FALSE(oArguments.m_lAssignments[1].m_oText);
    EXPECT_EQ(oArguments.m_lAssignments[2].m_oText, "");
    EXPECT_EQ(oArguments.m_eWrite, EWrite::Set);

    parse({"set", "T", "A=1", "--key=Id=1"});
    EXPECT_EQ(oArguments.m_oKey->m_oText, "1");
    EXPECT_TRUE(parse({"del", "T", "--all"}).m_bAll);
    EXPECT_THAT(parse({"watch", "A", "B", "--rows"}).m_lNames, ElementsAre("A", "B"));
    EXPECT_TRUE(oArguments.m_bRows);
    EXPECT_EQ(parse({"batch", "-", "--wait", "1500"}).m_oWait, std::chrono::milliseconds(1500));
    EXPECT_EQ(oArguments.m_sFile, "-");
    EXPECT_TRUE(parse({"export"}).m_lNames.empty());
    EXPECT_EQ(parse({"import", "f", "--wait", "5"}).m_sFile, "f");
    EXPECT_EQ(oArguments.m_oWait, std::chrono::milliseconds(5));
}

TEST_F(CommandLineTest, WrongUsageIs64)
{
    const std::vector<std::vector<std::string>> lWrong = {
        {},
        {"nonsense"},
        {"tables", "extra"},
        {"tables", "info"},
        {"schema"},
        {"schema", "T", "U"},
        {"get", "T", "--row", "-1"},
        {"get", "T", "--row", "4294967296"},
        {"get", "T", "--row", "0x1"},
        {"get", "T", "--row"},
        {"get", "T", "--key", "Id"},
        {"get", "T", "--key", "Id:null"},
        {"get", "T", "--key", "Id=1", "--row", "1"},
        {"get", "T", "--all"},
        {"set", "T", "A=1"},
        {"set", "T", "--row", "1"},
        {"set", "T", "--row", "1", "A"},
        {"add", "T"},
        {"del", "T"},
        {"del", "T", "--all", "--row", "1"},
        {"watch"},
        {"batch", "--wait", "x"},
        {"--json", "--csv", "tables"},
        {"-t", "0", "tables"},
        {"-t", "1.5", "tables"},
        {"-x", "tables"},
    };
    for (const auto& lWords : lWrong) {
        const Outcome oOutcome = m_oCommandLine.parse(lWords, m_oOutput);
        EXPECT_EQ(oOutcome.m_iExit, c_iExitUsage) << ::testing::PrintToString(lWords);
        EXPECT_NE(oOutcome.m_sText, "");
        EXPECT_EQ(m_oCommandLine.command(), nullptr);
    }
    EXPECT_EQ(m_oOutput.str(), "");
}

TEST(Application, TellsFailuresWithTheirExitStatus)
{
    std::istringstream oInput;
    std::ostringstream oOutput;
    std::ostringstream oErrors;
    EXPECT_EQ(run({"-s", "/nonexistent/so\ncket", "tables"}, oInput, oOutput, oErrors, false),
              c_iExitUnreachable);
    EXPECT_EQ(oErrors.str(),
              "ledgerctl: cannot connect to /nonexistent/so\\x0acket: No such file or directory [69]\n");
    oErrors.str({});
    EXPECT_EQ(run({"nonsense"}, oInput, oOutput, oErrors, false), c_iExitUsage);
    EXPECT_THAT(oErrors.str(), StartsWith("ledgerctl: "));
    EXPECT_THAT(oErrors.str(), HasSubstr(" [64]\n"));
    EXPECT_EQ(oOutput.str(), "");
}

TEST(Packaging, ManPageAndCompletionKnowEveryCommand)
{
    const std::string sManPage = readFile("ledgerctl.1");
    const std::string sCompletion = readFile("ledgerctl.bash");
    for (const Command& oCommand : commands()) {
        EXPECT_THAT(sManPage, HasSubstr(std::string("\n.B ") + oCommand.m_pName)) << oCommand.m_pName;
        EXPECT_THAT(sCompletion, HasSubstr(std::string(" ") + oCommand.m_pName)) << oCommand.m_pName;
    }
}

} // namespace systema::cli
