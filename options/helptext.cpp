#include "options/helptext.h"

#include "options/usage.h"

#include <cctype>
#include <memory>
#include <utility>

namespace systema {

HelpText::HelpText(std::string a_sProgram, bool a_bManual, std::string a_sFirstSteps)
    : m_sProgram(std::move(a_sProgram)),
      m_sManual(a_bManual ? "man " + m_sProgram : std::string()),
      m_sFirstSteps(std::move(a_sFirstSteps))
{
    column_width(24);
    label("SUBCOMMAND", "COMMAND");
    label("Subcommands", "Commands");
    label("Positionals", "Arguments");
}

std::string HelpText::make_description(const CLI::App* a_pApp) const
{
    std::string sText = a_pApp->get_description();
    sText.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(sText.front())));
    return sText + (sText.ends_with('.') ? "\n" : ".\n");
}

std::string HelpText::make_usage(const CLI::App* a_pApp, std::string a_sName) const
{
    return Formatter::make_usage(a_pApp, std::move(a_sName)) +
           (a_pApp->get_parent() == nullptr ? m_sFirstSteps : "");
}

std::string HelpText::make_footer(const CLI::App* a_pApp) const
{
    std::string sFooter = Formatter::make_footer(a_pApp);
    const bool bCommands = !partsOf(*a_pApp, true).empty();
    if (!bCommands && a_pApp->get_parent() == nullptr) { // there is no other help
        return sFooter + (sFooter.empty() ? "\n" : "") + "More: " + m_sManual + "\n";
    }
    return sFooter + "More: " + (bCommands ? commandOf(*a_pApp) + " COMMAND" : m_sProgram) + " --help" +
           (m_sManual.empty() ? "" : ", " + m_sManual) + "\n";
}

std::string HelpText::make_option_opts(const CLI::Option* a_pOption) const
{
    const bool bUnit = a_pOption->nonpositional() && a_pOption->get_type_size() != 0;
    return bUnit ? " " + a_pOption->get_type_name() : std::string();
}

std::string HelpText::make_option_desc(const CLI::Option* a_pOption) const
{
    const std::string sDefault = a_pOption->get_default_str();
    return a_pOption->get_description() + (sDefault.empty() ? "" : ", by default " + sDefault);
}

std::string HelpText::make_help(const CLI::App* a_pApp, std::string a_sName, CLI::AppFormatMode a_eMode) const
{
    // Between two headings the formatter leaves two lines empty.
    return CLI::detail::find_and_replace(Formatter::make_help(a_pApp, std::move(a_sName), a_eMode), "\n\n\n",
                                         "\n\n");
}

std::string HelpText::make_expanded(const CLI::App* a_pGroup) const
{
    return make_groups(a_pGroup, CLI::AppFormatMode::Normal);
}

void setUpProgram(CLI::App& a_oProgram, const std::string& a_sVersionNames, bool a_bManual,
                  const std::string& a_sFirstSteps)
{
    const std::string& sName = a_oProgram.get_name();
    a_oProgram.formatter(std::make_shared<HelpText>(sName, a_bManual, a_sFirstSteps));
    a_oProgram.set_help_flag("-h,--help", "print this help and exit");
    a_oProgram.set_version_flag(a_sVersionNames, sName + " " LEDGERD_VERSION, "print the version and exit");
}

} // namespace systema
