// The layout of --help that the programs share: sentences in place of the parser's words; options that
// exclude each other have a heading that says so. A program or command of commands says where the help on
// these is.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace systema {

class HelpText : public CLI::Formatter
{
public:
    /// The program, and whether it has a manual page; a text to stand between its usage and its options.
    HelpText(std::string a_sProgram, bool a_bManual, std::string a_sFirstSteps);

    std::string make_description(const CLI::App* a_pApp) const override;
    std::string make_usage(const CLI::App* a_pApp, std::string a_sName) const override;
    std::string make_footer(const CLI::App* a_pApp) const override;
    std::string make_option_opts(const CLI::Option* a_pOption) const override;
    std::string make_option_desc(const CLI::Option* a_pOption) const override;
    std::string make_help(const CLI::App* a_pApp, std::string a_sName,
                          CLI::AppFormatMode a_eMode) const override;
    std::string make_expanded(const CLI::App* a_pGroup) const override;

private:
    const std::string m_sProgram;
    const std::string m_sManual; // how the footer names the page, if there is one
    const std::string m_sFirstSteps;
};

/// Gives a program its help, with -h, and its version, with the names of that option.
void setUpProgram(CLI::App& a_oProgram, const std::string& a_sVersionNames, bool a_bManual,
                  const std::string& a_sFirstSteps = {});

} // namespace systema
