#include "cli/commands.h"
#include "cli/control.h"
#include "cli/dumpwatch.h"
#include "cli/newfile.h"
#include "restore/dumpcheck.h"
#include "restore/dumpset.h"
#include "zel/execute.h"
#include "zel/systempath.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace systema::cli {

namespace fs = std::filesystem;
using zel::cfg::dumpNames;

namespace {

using Clock = DumpWatch::Clock;

// Each database may take 5 s, and what it waits for may be a save's dumps.
constexpr std::chrono::seconds c_oTimeout{90};
constexpr std::chrono::seconds c_oRetry{2}; // the daemon repeats a dump that failed at once, or not at all

Outcome failure(const std::string& a_sText)
{
    return client::Status::refused(EResultCode::Failure, a_sText);
}

Outcome failure(const std::string& a_sText, const std::error_code& a_oError)
{
    return failure(a_sText + ": " + a_oError.message());
}

std::error_code lastError()
{
    return {errno, std::generic_category()};
}

/// One word for the shell.
std::string quoted(const std::string& a_sText)
{
    std::string sQuoted = "'";
    for (const char cByte : a_sText) {
        sQuoted += cByte == '\'' ? "'\\''" : std::string(1, cByte);
    }
    return sQuoted + "'";
}

/// A directory that nobody else may look into, removed with its object.
class PrivateDirectory
{
public:
    PrivateDirectory() : m_sPath(zel::systemPath("/tmp/ledgerctl.XXXXXX"))
    {
        m_bMade = ::mkdtemp(m_sPath.data()) != nullptr;
    }
    ~PrivateDirectory()
    {
        std::error_code oIgnored;
        fs::remove_all(m_sPath, oIgnored);
    }
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    const std::string& path() const { return m_sPath; }
    /// Says why there is none.
    bool ok() const { return m_bMade; }

private:
    std::string m_sPath;
    bool m_bMade;
};

Outcome copyDumps(const std::string& a_sFrom, const std::string& a_sTo)
{
    for (const std::string& sName : dumpNames()) {
        std::error_code oError;
        const std::string sDump = a_sFrom + "/" + sName;
        const std::string sCopy = a_sTo + "/" + sName;
        if (!fs::copy_file(sDump, sCopy, oError)) {
            return failure("cannot copy " + sDump, oError);
        }
        if (const auto oFault = zel::cfg::findDumpFault(sCopy)) {
            return failure(sDump + ": " + *oFault);
        }
    }
    return {};
}

Outcome pack(const std::string& a_sDirectory, const std::string& a_sFile)
{
    NewFile oFile(a_sFile);
    if (!oFile.ok()) {
        return failure("cannot write " + a_sFile, lastError());
    }
    const bool bZipped = a_sFile.ends_with(".gz") || a_sFile.ends_with(".tgz");
    std::string sCommand = "tar -C " + quoted(a_sDirectory) + (bZipped ? " -czf -" : " -cf -");
    for (const std::string& sName : dumpNames()) {
        sCommand += ' ';
        sCommand += quoted(sName);
    }
    sCommand += " > " + quoted(oFile.path());
    char aOutput[256];
    if (const int iResult = ZEL_Execute_Command(sCommand.c_str(), aOutput, sizeof aOutput); iResult != 0) {
        const std::string sText(aOutput);
        return failure("tar failed: " + std::to_string(iResult) + " (" + sText.substr(0, sText.find('\n')) +
                       ")");
    }
    return oFile.finish() ? Outcome() : failure("cannot write " + a_sFile, lastError());
}

/// How long the dumps may have to wait for the end of a client's transaction, which is said. A daemon that
/// does not answer counts as one without a transaction.
std::chrono::seconds findTransaction(Session& a_oSession)
{
    auto& oConnection = a_oSession.m_oConnection;
    if (!oConnection.connect().ok()) {
        return {};
    }
    const auto oInfo = oConnection.call(client::request::Info{});
    const auto oTimeouts =
        oConnection.call(client::request::SelectRow{"ConfigServerConfig", 0, {"TransactionTimeout"}});
    if (!oInfo.ok() || !oTimeouts.ok() || oInfo->getValue("TransactionOpen").getUnsigned() == 0) {
        return {};
    }
    const std::chrono::seconds oMost(oTimeouts->getValue("TransactionTimeout").getInteger());
    a_oSession.m_oErrors << "ledgerctl: the dumps wait for the end of another client's transaction, "
                         << oMost.count() << " s at most" << std::endl;
    return oMost;
}

} // namespace

Outcome runBackup(Session& a_oSession, const Arguments& a_oArguments)
{
    const std::string& sFile = a_oArguments.m_sFile;
    const std::string& sDumps = a_oArguments.m_sDumpDirectory;
    if (sFile == "-") {
        return Outcome::usage("a backup goes to a file, not to standard output; ./- is a file of that name");
    }
    if (!NewFile::isReplaceable(sFile)) {
        return Outcome::usage(sFile + " is not a regular file");
    }
    DumpWatch oWatch(sDumps, dumpNames());
    if (!oWatch.ok()) {
        return Outcome::usage("cannot watch the dump directory " + sDumps + ": " + lastError().message());
    }
    if (Outcome oSent = sendControl(a_oArguments.m_sFifo, "dump -p"); !oSent.ok()) {
        return oSent;
    }
    const auto oTransaction = findTransaction(a_oSession);
    const auto oTimeout = a_oArguments.m_oTimeout.value_or(c_oTimeout + oTransaction);
    auto oDeadline = Clock::now() + oTimeout;
    Outcome oOutcome = client::Status::disconnected("the daemon has not written its dumps to " + sDumps +
                                                    " within " + std::to_string(oTimeout.count()) + " s");
    while (oWatch.waitForDumps(oDeadline)) {
        const PrivateDirectory oCopies;
        if (!oCopies.ok()) {
            return failure("cannot make " + oCopies.path(), lastError());
        }
        Outcome oCopied = copyDumps(sDumps, oCopies.path());
        if (oWatch.touched()) {
            continue; // the copies may be of two times
        }
        if (oCopied.ok()) {
            return pack(oCopies.path(), sFile);
        }
        oOutcome = std::move(oCopied);
        oDeadline = std::min(oDeadline, Clock::now() + c_oRetry);
    }
    return oOutcome;
}

} // namespace systema::cli
