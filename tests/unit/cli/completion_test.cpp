#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

namespace {

/// A daemon with three tables, one of them named to do harm, that listens at "/here" only.
constexpr const char* c_pFakeCommand = R"(
    ledgerctl() {
        case "$*" in
            "-s /here"*tables) printf '%s\n' Phone PhoneBook '$(echo harm) x' ;;
            "-s /here"*"schema Phone") printf 'name,type\nId,integer\nName,text\n"odd,one",text\n' ;;
            *) echo "no daemon" >&2; return 69 ;;
        esac
    }
    compopt() { :; }
)";

/// What is offered for the last of the words.
std::vector<std::string> complete(const std::string& a_sWords)
{
    const auto oScript = std::filesystem::path(__FILE__).parent_path() / "../../../packaging/ledgerctl.bash";
    const std::string sCommand = "bash -c '. \"$0\"; " +
                                 std::string("eval \"$1\"; eval \"COMP_WORDS=($2)\"; ") +
                                 "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _ledgerctl; "
                                 "for s in \"${COMPREPLY[@]}\"; do echo \"$s\"; done' " +
                                 oScript.string() + " \"$FAKE\" \"$WORDS\" 2>&1";
    ::setenv("FAKE", c_pFakeCommand, 1);
    ::setenv("WORDS", a_sWords.c_str(), 1);
    const std::unique_ptr<FILE, int (*)(FILE*)> pPipe(::popen(sCommand.c_str(), "r"), ::pclose);
    std::vector<std::string> lOffers;
    char aLine[256];
    while (std::fgets(aLine, sizeof aLine, pPipe.get()) != nullptr) {
        lOffers.emplace_back(aLine);
        lOffers.back().pop_back();
    }
    return lOffers;
}

} // namespace

TEST(Completion, OffersCommandsAndOptions)
{
    EXPECT_THAT(complete("ledgerctl e"), ElementsAre("export"));
    EXPECT_THAT(complete("ledgerctl -s /here --js"), ElementsAre("--json"));
    EXPECT_THAT(complete("ledgerctl del Phone --"), Contains("--all"));
    EXPECT_THAT(complete("ledgerctl set Phone --all"), ElementsAre("--all-matching"));
    EXPECT_THAT(complete("ledgerctl import --"), Contains("--wait"));
    EXPECT_THAT(complete("ledgerctl get Phone --"), Not(Contains("--all")));
    EXPECT_THAT(complete("ledgerctl del Phone ''"), Contains("--key"));
    EXPECT_THAT(complete("ledgerctl help exp"), ElementsAre("export"));
    EXPECT_THAT(complete("ledgerctl ctl -f /x dump -"), Contains("-p"));
    EXPECT_THAT(complete("ledgerctl ctl -f /x -"), Not(Contains("-p")));
    EXPECT_THAT(complete("ledgerctl ctl persistmode n"), ElementsAre("nosqldump"));
}

TEST(Completion, AsksTheDaemonForTablesAndColumns)
{
    EXPECT_THAT(complete("ledgerctl -s /here get Ph"), UnorderedElementsAre("Phone", "PhoneBook"));
    EXPECT_THAT(complete("ledgerctl -s /here get phoneb"), ElementsAre("PhoneBook")) << "in any letter case";
    EXPECT_THAT(complete("ledgerctl -s /here watch Phone Phone"), UnorderedElementsAre("Phone", "PhoneBook"));
    EXPECT_THAT(complete("ledgerctl -s /here get Phone ''"), UnorderedElementsAre("Id", "Name"));
    EXPECT_THAT(complete("ledgerctl -s /here set Phone --key Id = 1 N"), ElementsAre("Name="));
    EXPECT_THAT(complete("ledgerctl -s /here set Phone --key I"), ElementsAre("Id="));
    EXPECT_THAT(complete("ledgerctl -s /here set Phone Name = I"), IsEmpty()) << "a value";
}

TEST(Completion, IsQuietWithoutADaemonAndExpandsNothing)
{
    EXPECT_THAT(complete("ledgerctl get P"), IsEmpty());
    EXPECT_THAT(complete("ledgerctl get Phone N"), IsEmpty());
    EXPECT_THAT(complete("ledgerctl -s /here get '$'"), ElementsAre("\\$\\(echo\\ harm\\)\\ x"));
}
