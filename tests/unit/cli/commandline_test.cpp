#include "cli/application.h"
#include "cli/commandline.h"
#include "cli/words.h"
#include "tests/unit/zel/tempdir.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

namespace systema::cli {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

class CommandLineTest : public ::testing::Test
{
protected:
    /// The arguments of a line that must be right.
    const Arguments& parse(const std::string& a_sLine)
    {
        const Outcome oOutcome = m_oCommandLine.parse(*splitWords(a_sLine), m_oOutput);
        EXPECT_TRUE(oOutcome.ok()) << oOutcome.m_sText;
        return m_oCommandLine.arguments();
    }

    CommandLine m_oCommandLine{CommandLine::EGrammar::Program};
    std::ostringstream m_oOutput;
};

std::string packagingFile(const std::string& a_sName)
{
    return readFile(std::filesystem::path(__FILE__).parent_path() / "../../../packaging" / a_sName);
}

} // namespace

TEST_F(CommandLineTest, OptionsStandBeforeOrAfterTheCommand)
{
    const Arguments& oArguments = parse("-s /x -t 3 tables --json");
    EXPECT_EQ(oArguments.m_sSocket, "/x");
    EXPECT_EQ(oArguments.m_oTimeout, std::chrono::seconds(3));
    EXPECT_EQ(oArguments.m_eFormat, EFormat::Json);

    parse("ctl dump -t -f /y");
    EXPECT_EQ(oArguments.m_sControl, "dump -t");
    EXPECT_EQ(oArguments.m_sFifo, "/y");
    EXPECT_FALSE(oArguments.m_oTimeout) << "nothing is left from the line before";
    EXPECT_THAT(oArguments.m_sSocket, ::testing::EndsWith("/tmp/ledgerd.socket"));
}

TEST_F(CommandLineTest, TakesTheWordsOfEachCommand)
{
    const Arguments& oArguments = parse("get get set --key Name=a=b");
    EXPECT_EQ(oArguments.m_sTable, "get") << "a table may be named like a command";
    EXPECT_THAT(oArguments.m_lNames, ElementsAre("set"));
    EXPECT_EQ(oArguments.m_oKey->m_sColumn, "Name");
    EXPECT_EQ(oArguments.m_oKey->m_oText, "a=b");

    parse("set T --row 4294967295 A=1 B:null C=");
    EXPECT_EQ(oArguments.m_oRow, 4294967295u);
    ASSERT_EQ(oArguments.m_lAssignments.size(), 3u);
    EXPECT_FALSE(oArguments.m_lAssignments[1].m_oText);
    EXPECT_EQ(oArguments.m_lAssignments[2].m_oText, "");
    EXPECT_FALSE(oArguments.m_oKey);
    EXPECT_EQ(parse("import f --wait 1500").m_oWait, std::chrono::milliseconds(1500));
}

TEST_F(CommandLineTest, WrongUsageIs64)
{
    for (const char* pLine : {"",
                              "tables info",
                              "schema",
                              "get T --row -1",
                              "get T --row 4294967296",
                              "get T --key Id",
                              "get T --key :null",
                              "get T --key Id=1 --row 1",
                              "get T --all",
                              "get T -v --csv",
                              "--json get T -v",
                              "count T -v",
                              "set T A=1",
                              "set T --row 1 A",
                              "add T",
                              "add T =x",
                              "del T",
                              "del T --all --row 1",
                              "del T --all --all-matching",
                              "set T --row 1 --all-matching A=1",
                              "get T --row 1 --all-matching",
                              "batch --wait x",
                              "batch ''",
                              "export -o ''",
                              "-s '' tables",
                              "--json --csv tables",
                              "-t 0 tables",
                              "-x tables",
                              "ctl",
                              "ctl nonsense",
                              "ctl dump -a --persistent",
                              "ctl waittime -1",
                              "ctl waittime 2147483648",
                              "ctl persistmode fast",
                              "backup"}) {
        const Outcome oOutcome = m_oCommandLine.parse(*splitWords(pLine), m_oOutput);
        EXPECT_EQ(oOutcome.m_iExit, c_iExitUsage) << pLine;
        EXPECT_NE(oOutcome.m_sText, "");
        EXPECT_EQ(m_oCommandLine.command(), nullptr);
    }
    EXPECT_EQ(m_oOutput.str(), "");
}

TEST_F(CommandLineTest, HelpIsAlsoACommandAndHasNoWordsOfTheParser)
{
    EXPECT_EQ(m_oCommandLine.parse({"help", "get"}, m_oOutput).m_iExit, 0);
    EXPECT_THAT(m_oOutput.str(), testing::StartsWith("Rows of a table.\nUsage: ledgerctl get "));
    EXPECT_THAT(m_oOutput.str(), HasSubstr("\nAt most one of:\n  --row N "));
    EXPECT_THAT(m_oOutput.str(), testing::Not(testing::ContainsRegex("TEXT|REQUIRED|Excludes|Option Group")));
    EXPECT_EQ(m_oCommandLine.parse({"version"}, m_oOutput).m_iExit, 0);
}

TEST_F(CommandLineTest, HelpFitsAScreenAndNamesTheHelpThatThereIs)
{
    const auto help = [this](std::vector<std::string> a_lWords) {
        m_oOutput.str({});
        a_lWords.emplace_back("--help");
        EXPECT_EQ(m_oCommandLine.parse(std::move(a_lWords), m_oOutput).m_iExit, 0);
        return m_oOutput.str();
    };
    const std::string sProgram = help({});
    EXPECT_LE(std::ranges::count(sProgram, '\n'), 40);
    EXPECT_THAT(sProgram, testing::Not(testing::ContainsRegex("[^\n]{81}")));
    EXPECT_THAT(sProgram, HasSubstr("\nExit status: 0 "));
    EXPECT_THAT(sProgram, testing::EndsWith("\nMore: ledgerctl COMMAND --help, man ledgerctl\n"));
    EXPECT_THAT(help({"ctl"}), testing::EndsWith("\nMore: ledgerctl ctl COMMAND --help, man ledgerctl\n"));
    EXPECT_THAT(help({"get"}), testing::EndsWith("\n\nMore: ledgerctl --help, man ledgerctl\n"));
    // The first steps can be typed.
    for (auto i = sProgram.find("\n  ledgerctl "); i != std::string::npos;
         i = sProgram.find("\n  ledgerctl ", i + 1)) {
        const std::string sLine = sProgram.substr(i + 13, sProgram.find("  ", i + 13) - i - 13);
        EXPECT_EQ(m_oCommandLine.parse(*splitWords(sLine), m_oOutput).m_sText, "") << sLine;
    }
}

TEST(Application, ShowsErrorsWithoutControlCharacters)
{
    std::istringstream oInput;
    std::ostringstream oOutput;
    EXPECT_EQ(run({"-s", "/nonexistent/so\ncket", "tables"}, oInput, oOutput, oOutput, false),
              c_iExitUnreachable);
    EXPECT_EQ(oOutput.str(),
              "ledgerctl: cannot connect to /nonexistent/so\\x0acket: No such file or directory [69]\n");
}

TEST(Packaging, ManPageAndCompletionKnowEveryCommand)
{
    std::string sManPage = packagingFile("ledgerctl.1");
    std::erase(sManPage, '\\'); // "\-" stands for a hyphen that can be copied
    const std::string sCompletion = packagingFile("ledgerctl.bash");
    for (const Command& oCommand : commands()) {
        EXPECT_THAT(sManPage, HasSubstr(std::string("\n.B ") + oCommand.m_pName)) << oCommand.m_pName;
        EXPECT_THAT(sCompletion, HasSubstr(std::string(" ") + oCommand.m_pName)) << oCommand.m_pName;
    }
}

} // namespace systema::cli
