// What is wrong with a command line, in the words of the manual pages. Free functions over the parser's tree
// of commands, after it has failed; they throw nothing but std::bad_alloc.
#pragma once

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <vector>

namespace systema {

/// The commands of a program or a command, or its groups of options.
std::vector<const CLI::App*> partsOf(const CLI::App& a_oApp, bool a_bNamed);
/// How a command is called: ledgerctl ctl dump.
std::string commandOf(const CLI::App& a_oApp);

/// A word of the line that is no command and no option where it stands.
struct UnknownWord
{
    const CLI::App* m_pCommand; // that was reached, the program for none
    std::string m_sWhere;       // the name of the command; for the program what the caller says
    std::string m_sWord;
    std::vector<std::string> m_lOptions; // that could be meant, in their long forms

    bool isOption() const { return m_sWord.starts_with('-'); }
    /// The names of the commands that could be meant.
    std::vector<std::string> commands() const;
    /// The text of the error, with the nearest name; empty where any word could stand.
    std::string describe() const;
};

/// The word that the parser did not take and that may be why something else is wrong; nothing without one.
std::optional<UnknownWord> findUnknownWord(const CLI::App& a_oProgram, const std::string& a_sWhere = {});

/// What the parser says of a line, reworded.
std::string reworded(std::string a_sText);
/// Where the help on a faulty line is, as the end of an error's text.
std::string seeHelp(const CLI::App& a_oProgram);
/// The text of an error of a program without words of its own: what is wrong, and where the help is.
std::string describeFault(const CLI::App& a_oProgram, const CLI::Error& a_oError);

} // namespace systema
