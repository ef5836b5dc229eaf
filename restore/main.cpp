// ledger-restore: makes the databases from what was saved, at boot before ledgerd starts.

#include "restore/restore.h"
#include "zel/log.h"
#include "zel/standardfiles.h"
#include "zel/systempath.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <iostream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

constexpr const char* c_pProgram = "ledger-restore";
constexpr int c_iExitUsage = 64;

CLI::Option& addDirectory(CLI::App& a_oApp, const std::string& a_sName, std::string& a_sDirectory,
                          const char* a_pDefault, const std::string& a_sHelp)
{
    a_sDirectory = zel::systemPath(a_pDefault);
    return *a_oApp.add_option(a_sName, a_sDirectory, a_sHelp)
                ->type_name("DIRECTORY")
                ->default_str(a_sDirectory)
                ->take_last();
}

void declare(CLI::App& a_oApp, zel::cfg::RestoreSettings& a_oSettings, std::vector<std::string>& a_lChecked)
{
    a_oApp.set_help_flag("-h,--help", "print this help and exit");
    a_oApp.set_version_flag("--version", std::string(c_pProgram) + " " LEDGERD_VERSION,
                            "print the version and exit");
    a_oApp.set_config("--config", zel::systemPath("/etc/ledger-store.conf"),
                      "where to read the directories that are not given");
    a_oApp.allow_config_extras(CLI::config_extras_mode::ignore);
    addDirectory(a_oApp, "-d,--database-directory", a_oSettings.m_sDatabaseDirectory, "/tmp/db",
                 "where to make the databases");
    addDirectory(a_oApp, "-s,--store-directory", a_oSettings.m_sStoreDirectory, "/flash/store",
                 "the saved generations");
    addDirectory(a_oApp, "--factory-directory", a_oSettings.m_sFactoryDirectory, "/usr/share/ledgerd/factory",
                 "what the device comes with, and its migrations");
    auto* pKeep =
        a_oApp.add_flag("--keep", a_oSettings.m_bKeep, "leave databases alone that are sound and current")
            ->configurable(false);
    auto* pCheck =
        a_oApp.add_option("--check", a_lChecked, "report those of these dumps that a boot could not load")
            ->type_name("FILE...")
            ->configurable(false);
    a_oApp
        .add_option("--from", a_oSettings.m_sBackup,
                    "store this file of ledgerctl backup as the next generation, and restore that")
        ->type_name("FILE")
        ->check(CLI::ExistingFile)
        ->configurable(false)
        ->excludes(pKeep)
        ->excludes(pCheck);
    a_oApp.footer(
        "Prints where each database came from. Exit status: 0 all are as saved last, or never saved;\n"
        "1 one had to fall back; 2 one is in use or could not be made; 3 the file of --from is unusable\n"
        "or cannot be stored, and nothing has changed; 64 wrong usage.\n"
        "With --check a line for each bad dump. Exit status: 0 all are good; 1 one is bad; 2 the machine "
        "could not\n"
        "check one.");
}

} // namespace

int main(int a_iCount, char** a_pArguments)
{
    zel::openStandardFiles();
    std::signal(SIGPIPE, SIG_IGN); // whoever stops reading the report: the daemon needs every database
    ::umask(S_IRWXG | S_IRWXO);    // whoever starts it: settings are for their owner, who can read them
    ZEL_Sysloglevel_construct2(c_pProgram);
    try {
        CLI::App oApp("Makes the databases of ledgerd from what was saved, before it starts.", c_pProgram);
        zel::cfg::RestoreSettings oSettings;
        std::vector<std::string> lChecked;
        declare(oApp, oSettings, lChecked);
        try {
            oApp.parse(a_iCount, a_pArguments);
        } catch (const CLI::Success& oAnswer) {
            return oApp.exit(oAnswer);
        }
        return lChecked.empty() ? static_cast<int>(zel::cfg::restoreDatabases(oSettings, std::cout))
                                : static_cast<int>(zel::cfg::checkDumps(oSettings, lChecked, std::cout));
    } catch (const CLI::Error& oError) {
        std::cerr << c_pProgram << ": " << oError.what() << " [" << c_iExitUsage << "]\n";
        return c_iExitUsage;
    }
}
