#include "options/usage.h"

#include "options/nearest.h"

#include <algorithm>
#include <regex>
#include <utility>

namespace systema {

namespace {

/// The options in their long forms, with those of the groups.
void addOptions(const CLI::App& a_oApp, std::vector<std::string>& a_lNames)
{
    for (const CLI::Option* pOption : a_oApp.get_options()) {
        for (const std::string& sName : pOption->get_lnames()) {
            a_lNames.push_back("--" + sName);
        }
    }
    for (const CLI::App* pGroup : partsOf(a_oApp, false)) {
        addOptions(*pGroup, a_lNames);
    }
}

} // namespace

std::vector<const CLI::App*> partsOf(const CLI::App& a_oApp, bool a_bNamed)
{
    return a_oApp.get_subcommands(
        [=](const CLI::App* a_pPart) { return a_pPart->get_name().empty() != a_bNamed; });
}

std::string commandOf(const CLI::App& a_oApp)
{
    const CLI::App* pParent = a_oApp.get_parent();
    return (pParent == nullptr ? "" : commandOf(*pParent) + " ") + a_oApp.get_name();
}

std::vector<std::string> UnknownWord::commands() const
{
    std::vector<std::string> lCommands;
    for (const CLI::App* pCommand : partsOf(*m_pCommand, true)) {
        lCommands.push_back(pCommand->get_name());
    }
    return lCommands;
}

std::string UnknownWord::describe() const
{
    if (!isOption()) {
        const auto lCommands = commands();
        return lCommands.empty() ? std::string() : unknownName("command", m_sWord, m_sWhere, lCommands);
    }
    if (m_pCommand->get_option_no_throw(m_sWord) != nullptr) {
        return "option \"" + m_sWord + "\" must stand behind " + m_sWhere;
    }
    return unknownName("option", m_sWord, m_sWhere,
                       m_sWord.size() > 2 ? m_lOptions : std::vector<std::string>());
}

std::optional<UnknownWord> findUnknownWord(const CLI::App& a_oProgram, const std::string& a_sWhere)
{
    const auto lWords = a_oProgram.remaining(true);
    if (lWords.empty()) {
        return std::nullopt;
    }
    UnknownWord oUnknown{&a_oProgram, a_sWhere, {}, {}};
    addOptions(a_oProgram, oUnknown.m_lOptions);
    while (!oUnknown.m_pCommand->get_subcommands().empty()) {
        oUnknown.m_pCommand = oUnknown.m_pCommand->get_subcommands().front();
        addOptions(*oUnknown.m_pCommand, oUnknown.m_lOptions);
        oUnknown.m_sWhere = oUnknown.m_pCommand->get_name();
    }
    // Behind the name of a command that does not exist stand its options. Otherwise an unknown option comes
    // first: its value may be what the parser has taken for something else.
    const auto itOption =
        std::ranges::find_if(lWords, [](const auto& a_sOther) { return a_sOther.starts_with('-'); });
    const bool bCommands = !partsOf(*oUnknown.m_pCommand, true).empty();
    const std::string& sFirst = bCommands || itOption == lWords.end() ? lWords.front() : *itOption;
    oUnknown.m_sWord = sFirst.substr(0, sFirst.find('='));
    return oUnknown;
}

std::string reworded(std::string a_sText)
{
    static const std::pair<std::regex, const char*> aRewordings[] = {
        {std::regex("^A subcommand is required$"), "a command is missing"},
        {std::regex("^(.*): 1 required (.*) missing$"), "$1 wants $2"},
        {std::regex("^(.*): [0-9]+ required (.*) missing$"), "$1 wants $2"},
        {std::regex("^(.*) requires .* but received .*$"), "$1 wants more"},
        {std::regex("^(.*): At Most 1 required but received .*$"), "$1 is given more than once"},
        {std::regex("^(.*) excludes (.*)$"), "$1 does not go with $2"},
        {std::regex("^Could not convert: (.*) = (.*)$"), "$1: \"$2\" is no value that it takes"},
        {std::regex(R"(^Exactly 1 option from \[(.*)\] is required.*$)"), "exactly one of $1 is required"},
        {std::regex(R"(^Requires at most 1 options be given from \[(.*)\]$)"),
         "at most one of $1 can be given"},
        {std::regex("^The following arguments? (was|were) not expected: (.*)$"),
         "more words than wanted: $2"},
    };
    for (const auto& [oPattern, pWords] : aRewordings) {
        a_sText = std::regex_replace(a_sText, oPattern, pWords);
    }
    return a_sText;
}

std::string seeHelp(const CLI::App& a_oProgram)
{
    const CLI::App* pApp = &a_oProgram;
    while (!pApp->get_subcommands().empty()) {
        pApp = pApp->get_subcommands().front();
    }
    return "; see " + commandOf(*pApp) + " --help";
}

std::string describeFault(const CLI::App& a_oProgram, const CLI::Error& a_oError)
{
    const auto oUnknown = findUnknownWord(a_oProgram);
    std::string sText = oUnknown ? oUnknown->describe() : std::string();
    if (sText.empty()) {
        sText = reworded(a_oError.what());
    }
    return sText.ends_with('?') ? sText : sText + seeHelp(a_oProgram);
}

} // namespace systema
