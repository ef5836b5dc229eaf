#include "tools/netsim.h"

#include "options/helptext.h"
#include "options/usage.h"
#include "tools/script.h"
#include "tools/signals.h"
#include "zel/uniquefd.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sysexits.h>

namespace zel::netsim {

namespace {

struct Arguments
{
    std::string m_sScript = "-";
    bool m_bStay = false;
    Simulator::Options m_oOptions;
    std::string m_sSignal;
    std::string m_sTypes;
    std::vector<std::string> m_lArguments;
    unsigned m_iCount = 1;
};

std::string describeSignals()
{
    std::string sText;
    for (const Signal& oSignal : signals()) {
        sText +=
            std::string("  ") + oSignal.m_pName + " " + oSignal.m_pTypes + " " + oSignal.m_pArguments + "\n";
    }
    return sText;
}

/// The whole name of a service, of which the last part is enough.
std::string serviceOr(const std::string& a_sName)
{
    for (auto& sService : services()) {
        if (sService == a_sName || sService.ends_with("." + a_sName)) {
            return sService;
        }
    }
    throw CLI::ValidationError("--silent", "there is no service \"" + a_sName + "\"");
}

void declareServe(CLI::App& a_oApp, Arguments& a_oArguments)
{
    Simulator::Options& oOptions = a_oArguments.m_oOptions;
    a_oApp.add_option("SCRIPT", a_oArguments.m_sScript, "a file of commands, standard input by default");
    a_oApp.add_flag("--stay", a_oArguments.m_bStay, "serve on when the commands have ended");
    a_oApp.add_flag("--dnsmasq", oOptions.m_bDnsmasq, "stand in for dnsmasq, too");
    a_oApp
        .add_option_function<std::vector<std::string>>(
            "--silent",
            [&oOptions](const std::vector<std::string>& a_lNames) {
                for (const auto& sName : a_lNames) {
                    oOptions.m_lSilent.insert(serviceOr(sName));
                }
            },
            "a service that never answers a call; may be repeated")
        ->type_name("SERVICE")
        ->expected(1)
        ->take_all();
    auto* pFails = a_oApp.add_flag("--dump-fails", oOptions.m_bDumpFails,
                                   "answer DumpCache with an error; not with --dump");
    a_oApp
        .add_option("--dump", oOptions.m_lDumpFiles,
                    "a file that DumpCache copies, and where to; may be repeated")
        ->type_name("FROM TO")
        ->excludes(pFails);
    a_oApp.footer("Commands, one a line:\n" + describeCommands() +
                  "Words are separated by blanks; 'quotes' hold together, # begins a comment.\n"
                  "cache sets what DumpCache writes to the file of that name in /tmp.");
}

void declareSignal(CLI::App& a_oApp, Arguments& a_oArguments)
{
    a_oApp.add_option("SIGNAL", a_oArguments.m_sSignal, "name of the signal")->required();
}

void declareArguments(CLI::App& a_oApp, Arguments& a_oArguments)
{
    a_oApp.add_option("ARG", a_oArguments.m_lArguments, "its arguments; the texts of an array by commas");
    a_oApp.add_option("--count", a_oArguments.m_iCount, "how often it is sent, once by default")
        ->type_name("N");
    a_oApp.footer(
        "Signals, the types and the names of their arguments: s text, u and y numbers of 32 and 8 bits,\n"
        "b true or false, as an array of texts:\n" +
        describeSignals());
}

int fail(int a_iStatus, const std::string& a_sWhat)
{
    std::fprintf(stderr, "ledger-netsim: %s\n", a_sWhat.c_str());
    return a_iStatus;
}

Failure connect(Bus& a_oBus)
{
    auto oFailure = a_oBus.connect();
    return oFailure ? "no connection to the system bus: " + *oFailure : oFailure;
}

int serve(const Arguments& a_oArguments)
{
    const bool bStandardInput = a_oArguments.m_sScript == "-";
    const UniqueFd oFile(bStandardInput ? -1 : ::open(a_oArguments.m_sScript.c_str(), O_RDONLY | O_CLOEXEC));
    if (!bStandardInput && !oFile) {
        return fail(EX_USAGE, a_oArguments.m_sScript + ": " + std::strerror(errno));
    }
    Bus oBus;
    if (const auto oFailure = connect(oBus)) {
        return fail(EX_UNAVAILABLE, *oFailure);
    }
    Simulator oSimulator(oBus, a_oArguments.m_oOptions);
    if (const auto oFailure = oSimulator.start()) {
        return fail(EXIT_FAILURE, *oFailure);
    }
    std::puts("ledger-netsim: serving");
    std::fflush(stdout);
    const int iInput = bStandardInput ? STDIN_FILENO : oFile.get();
    const int iStatus = Script(oBus, oSimulator).run(iInput, a_oArguments.m_bStay);
    return iStatus == EX_UNAVAILABLE ? fail(iStatus, "the bus has gone") : iStatus;
}

int sendSignal(const Arguments& a_oArguments, const std::optional<std::string>& a_oTypes)
{
    Message oMessage;
    if (const auto oFailure =
            makeSignal(a_oArguments.m_sSignal, a_oTypes, a_oArguments.m_lArguments, oMessage)) {
        return fail(EX_USAGE, *oFailure);
    }
    Bus oBus;
    if (const auto oFailure = connect(oBus)) {
        return fail(EX_UNAVAILABLE, *oFailure);
    }
    oBus.send(oMessage, a_oArguments.m_iCount);
    return oBus.finish() ? EX_OK : fail(EX_UNAVAILABLE, "the bus has gone");
}

} // namespace

int run(int a_iCount, char** a_pArguments)
{
    Arguments oArguments;
    CLI::App oApp("Stands in for the network services on the system bus.", "ledger-netsim");
    systema::setUpProgram(oApp, "--version", false);
    oApp.require_subcommand(1);
    CLI::App* pServe =
        oApp.add_subcommand("serve", "Own the services' names, answer, and carry out commands.");
    CLI::App* pEmit = oApp.add_subcommand("emit", "Send a signal.");
    CLI::App* pBad = oApp.add_subcommand("bad", "Send a signal with types that need not be its own.");
    declareServe(*pServe, oArguments);
    for (CLI::App* pApp : {pEmit, pBad}) {
        declareSignal(*pApp, oArguments);
        if (pApp == pBad) {
            pApp->add_option("TYPES", oArguments.m_sTypes, "their D-Bus signature, \"\" for no arguments")
                ->required();
        }
        declareArguments(*pApp, oArguments);
    }
    try {
        oApp.parse(a_iCount, a_pArguments);
    } catch (const CLI::ParseError& oError) {
        return oError.get_exit_code() == 0 ? oApp.exit(oError) // prints the help or the version
                                           : fail(EX_USAGE, systema::describeFault(oApp, oError));
    }
    return pServe->parsed()  ? serve(oArguments)
           : pEmit->parsed() ? sendSignal(oArguments, {})
                             : sendSignal(oArguments, oArguments.m_sTypes);
}

} // namespace zel::netsim
