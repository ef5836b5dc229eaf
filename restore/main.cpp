// ledger-restore: makes the databases from what was saved, at boot before ledgerd starts.

#include "options/helptext.h"
#include "options/usage.h"
#include "restore/restore.h"
#include "storage/storeconfiguration.h"
#include "zel/log.h"
#include "zel/standardfiles.h"
#include "zel/stopflag.h"
#include "zel/systempath.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace {

using systema::StoreConfiguration;
using zel::cfg::ERestored;
using zel::cfg::RestoreSettings;

constexpr const char* c_pProgram = "ledger-restore";
constexpr int c_iExitUsage = 64;

/// An empty word, as a script's variable that is not set makes of it, is no file and no directory.
std::string requireName(const std::string& a_sName)
{
    return a_sName.empty() ? "the name is empty" : "";
}

/// What is wrong with the command line.
std::string describe(const CLI::App& a_oApp, const CLI::Error& a_oError)
{
    const auto oUnknown = systema::findUnknownWord(a_oApp);
    return oUnknown && !oUnknown->isOption() ? "no option goes with \"" + oUnknown->m_sWord +
                                                   "\"; did you mean \"--from " + oUnknown->m_sWord + "\"?"
                                             : systema::describeFault(a_oApp, a_oError);
}

CLI::Option& addDirectory(CLI::App& a_oApp, const std::string& a_sName, std::string& a_sDirectory,
                          const char* a_pDefault, const std::string& a_sHelp)
{
    a_sDirectory = zel::systemPath(a_pDefault);
    return *a_oApp.add_option(a_sName, a_sDirectory, a_sHelp)
                ->type_name("DIRECTORY")
                ->default_str(a_sDirectory)
                ->check(requireName)
                ->take_last();
}

/// What is asked for beside a restore.
struct Request
{
    std::string m_sConfiguration = StoreConfiguration::defaultFile();
    std::string m_sSetting{};
    std::vector<std::string> m_lChecked{};
};

void declare(CLI::App& a_oApp, RestoreSettings& a_oSettings, Request& a_oRequest)
{
    systema::setUpProgram(a_oApp, "-V,--version", true);
    a_oApp
        .add_option("--config", a_oRequest.m_sConfiguration,
                    "where to read the directories that are not given")
        ->type_name("FILE")
        ->default_str(a_oRequest.m_sConfiguration)
        ->check(CLI::ExistingFile.description(""));
    a_oApp.add_option("--setting", a_oRequest.m_sSetting, "print this directory of the configuration")
        ->type_name("KEY");
    addDirectory(a_oApp, "-d,--database-directory", a_oSettings.m_sDatabaseDirectory, "/tmp/db",
                 "where to make the databases");
    addDirectory(a_oApp, "-s,--store-directory", a_oSettings.m_sStoreDirectory, "/flash/store",
                 "the saved generations");
    addDirectory(a_oApp, "--factory-directory", a_oSettings.m_sFactoryDirectory, "/usr/share/ledgerd/factory",
                 "what the device comes with, and its migrations");
    auto* pKeep = a_oApp.add_flag("--keep", a_oSettings.m_bKeep,
                                  "leave databases alone that are sound and current;\nnot with --from");
    auto* pCheck = a_oApp
                       .add_option("--check", a_oRequest.m_lChecked,
                                   "report those of these dumps that a boot could not load;\nnot with --from")
                       ->type_name("FILE...");
    a_oApp
        .add_option("--from", a_oSettings.m_sBackup,
                    "store this file of ledgerctl backup, - for standard input,\n"
                    "as the next generation, and restore that")
        ->type_name("FILE")
        ->check(requireName)
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

/// Takes the directories that the command line does not name.
void configure(const CLI::App& a_oApp, const StoreConfiguration& a_oConfiguration,
               RestoreSettings& a_oSettings)
{
    a_oSettings.m_bStoreNamed = a_oApp.count("--store-directory") > 0;
    for (const auto& [pKey, pDirectory] :
         {std::pair(StoreConfiguration::c_pDatabases, &a_oSettings.m_sDatabaseDirectory),
          std::pair(StoreConfiguration::c_pStore, &a_oSettings.m_sStoreDirectory),
          std::pair(StoreConfiguration::c_pFactory, &a_oSettings.m_sFactoryDirectory)}) {
        if (a_oApp.count(std::string("--") + pKey) == 0) {
            *pDirectory = a_oConfiguration.directory(pKey);
        }
    }
}

/// For scripts, so that the file has one reader.
int printSetting(const StoreConfiguration& a_oConfiguration, const std::string& a_sKey)
{
    const std::string sDirectory = a_oConfiguration.directory(a_sKey);
    if (const auto oFault = a_oConfiguration.faultOf(a_sKey); oFault || sDirectory.empty()) {
        std::cerr << oFault.value_or("no directory of the configuration: " + a_sKey) << '\n';
        return c_iExitUsage;
    }
    std::cout << sDirectory << std::endl;
    return 0;
}

/// A backup that is being stored is undone on a signal. Once it is stored the databases are made to the end.
void catchSignals()
{
    struct sigaction oAction
    {
    };
    sigemptyset(&oAction.sa_mask);
    oAction.sa_handler = [](int) { zel::requestStop(); }; // not SA_RESTART: a read of standard input ends
    for (const int iSignal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction oInherited
        {
        };
        if (::sigaction(iSignal, nullptr, &oInherited) == 0 && oInherited.sa_handler != SIG_IGN) {
            ::sigaction(iSignal, &oAction, nullptr);
        }
    }
}

/// A device with the databases that a faulty configuration gives is of more use than one without any, and as
/// nothing is saved until it is mended nothing is lost. But nobody's backup is stored where nobody meant.
int restore(const StoreConfiguration& a_oConfiguration, const RestoreSettings& a_oSettings)
{
    const int iModule = ZEL_Sysloglevel_registerModul(c_pProgram);
    const bool bFaulty = !a_oConfiguration.faults().empty();
    for (const auto& oFault : a_oConfiguration.faults()) {
        ZEL_Sysloglevel_error(iModule, zel::here(), "%s", oFault.m_sText.c_str());
    }
    if (bFaulty && !a_oSettings.m_sBackup.empty()) {
        return static_cast<int>(ERestored::Refused);
    }
    if (!a_oSettings.m_sBackup.empty()) {
        catchSignals();
    }
    const ERestored eRestored = zel::cfg::restoreDatabases(a_oSettings, std::cout);
    return static_cast<int>(bFaulty ? std::max(eRestored, ERestored::FellBack) : eRestored);
}

int run(int a_iCount, char** a_pArguments)
{
    CLI::App oApp("Makes the databases of ledgerd from what was saved, before it starts.", c_pProgram);
    RestoreSettings oSettings;
    Request oRequest;
    declare(oApp, oSettings, oRequest);
    try {
        oApp.parse(a_iCount, a_pArguments);
    } catch (const CLI::Success& oAnswer) {
        return oApp.exit(oAnswer);
    } catch (const CLI::Error& oError) {
        std::cerr << c_pProgram << ": " << describe(oApp, oError) << " [" << c_iExitUsage << "]\n";
        return c_iExitUsage;
    }
    const StoreConfiguration oConfiguration(oRequest.m_sConfiguration);
    if (!oRequest.m_sSetting.empty()) {
        return printSetting(oConfiguration, oRequest.m_sSetting);
    }
    configure(oApp, oConfiguration, oSettings);
    return oRequest.m_lChecked.empty()
               ? restore(oConfiguration, oSettings)
               : static_cast<int>(zel::cfg::checkDumps(oSettings, oRequest.m_lChecked, std::cout));
}

} // namespace

int main(int a_iCount, char** a_pArguments)
{
    zel::openStandardFiles();
    std::signal(SIGPIPE, SIG_IGN); // whoever stops reading the report: the daemon needs every database
    ::umask(S_IRWXG | S_IRWXO);    // whatever was inherited: the owner alone may read settings
    ZEL_Sysloglevel_construct2(c_pProgram);
    try {
        return run(a_iCount, a_pArguments);
    } catch (const std::exception& oError) {
        std::cerr << c_pProgram << ": " << oError.what() << '\n';
        return static_cast<int>(ERestored::Failed);
    }
}
