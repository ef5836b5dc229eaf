#include "cli/application.h"

#include "cli/commandline.h"
#include "cli/commands.h"
#include "cli/utf8.h"
#include "client/connection.h"

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <system_error>
#include <unistd.h>

namespace systema::cli {

namespace {

Outcome execute(const Command& a_oCommand, const Arguments& a_oArguments, std::istream& a_oInput,
                std::ostream& a_oOutput, std::ostream& a_oErrors, bool a_bTerminal, EReader a_eReader)
{
    client::Connection oConnection(
        {a_oArguments.m_sSocket, "ledgerctl", a_oArguments.m_oTimeout.value_or(c_oAnswerTimeout), true});
    if (a_oCommand.m_bConnects && !a_oArguments.m_bReconnect) {
        if (const auto oStatus = oConnection.connect(); !oStatus.ok()) {
            return oStatus;
        }
    }
    Printer oPrinter(a_oOutput, a_oArguments.m_eFormat, a_eReader);
    Session oSession{oConnection, oPrinter,    a_oInput,
                     a_oErrors,   a_bTerminal, &a_oOutput == &std::cout ? STDOUT_FILENO : -1};
    Outcome oOutcome = a_oCommand.m_pRun(oSession, a_oArguments);
    if (oOutcome.ok() && !a_oOutput.flush()) {
        const bool bWritten = a_oCommand.m_eWrite != EWrite::None || a_oCommand.m_pRun == runBatch;
        return client::Status::refused(EResultCode::Failure,
                                       bWritten ? "the rows are written, but the output cannot be"
                                                : "cannot write the output");
    }
    return oOutcome;
}

} // namespace

int run(std::vector<std::string> a_lWords, std::istream& a_oInput, std::ostream& a_oOutput,
        std::ostream& a_oErrors, bool a_bTerminal, EReader a_eReader)
{
    CommandLine oCommandLine(CommandLine::EGrammar::Program);
    Outcome oOutcome = oCommandLine.parse(std::move(a_lWords), a_oOutput);
    if (const Command* pCommand = oCommandLine.command()) {
        oOutcome = execute(*pCommand, oCommandLine.arguments(), a_oInput, a_oOutput, a_oErrors, a_bTerminal,
                           a_eReader);
        const int iError = errno; // of the write, if that is what has failed
        if (constexpr int c_aFull[] = {ENOSPC, EDQUOT, EFBIG, EIO};
            !oOutcome.ok() && !a_oOutput && std::ranges::count(c_aFull, iError) > 0) {
            oOutcome.m_sText += ": " + std::generic_category().message(iError);
        }
    }
    if (!oOutcome.ok()) {
        a_oErrors << "ledgerctl: " << printable(oOutcome.m_sText) << " [" << oOutcome.m_iExit << "]\n";
    }
    return oOutcome.m_iExit;
}

} // namespace systema::cli
