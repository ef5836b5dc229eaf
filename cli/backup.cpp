#include "cli/commands.h"
#include "cli/control.h"
#include "cli/dumpwatch.h"
#include "cli/newfile.h"
#include "options/nearest.h"
#include "restore/dumpcheck.h"
#include "restore/dumpset.h"
#include "zel/execute.h"
#include "zel/lines.h"
#include "zel/systempath.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace systema::cli {

namespace fs = std::filesystem;
using zel::cfg::dumpNames;

namespace {

using Clock = DumpWatch::Clock;

// Each database may take 5 s, and what it waits for may be a save's dumps.
constexpr std::chrono::seconds c_oTimeout{90};
constexpr std::chrono::seconds c_oSilence{5}; // before the progress message
constexpr std::chrono::seconds c_oRetry{2};   // the daemon repeats a dump that failed at once, or not at all

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

/// Signals that end the program, held back for the life of the object: they come with its end, when copies of
/// passwords are no longer left behind.
class HeldSignals
{
public:
    HeldSignals()
    {
        sigset_t oHeld;
        sigemptyset(&oHeld);
        for (const int iSignal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE}) {
            sigaddset(&oHeld, iSignal);
        }
        ::sigprocmask(SIG_BLOCK, &oHeld, &m_oBefore);
    }
    ~HeldSignals() { ::sigprocmask(SIG_SETMASK, &m_oBefore, nullptr); }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

private:
    sigset_t m_oBefore{};
};

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

/// Packs the dumps of the directory. What tar says is told only when it fails.
Outcome pack(const std::string& a_sDirectory, const std::string& a_sFile, bool a_bZipped,
             const std::function<bool(std::string_view)>& a_oWrite)
{
    const std::string sSaid = a_sDirectory + "/said";
    std::string sCommand = "tar -C " + quoted(a_sDirectory) + (a_bZipped ? " -czf -" : " -cf -");
    for (const std::string& sName : dumpNames()) {
        sCommand += ' ';
        sCommand += quoted(sName);
    }
    std::error_code oError;
    const int iResult =
        zel::executeCommand(sCommand + " 2> " + quoted(sSaid), [&](std::string_view a_sPiece) {
            if (!oError && !a_oWrite(a_sPiece)) {
                oError = lastError();
            }
        });
    if (oError) {
        return failure("cannot write " + a_sFile, oError);
    }
    if (iResult != 0) {
        constexpr std::size_t c_iLongestLine = 256;
        return failure("tar failed: " + std::to_string(iResult) + " (" +
                       zel::readFirstLine(sSaid, c_iLongestLine).value_or("") + ")");
    }
    return {};
}

/// Whole and on disk, or not at all.
Outcome packFile(const std::string& a_sDirectory, const std::string& a_sFile)
{
    NewFile oFile(a_sFile);
    if (!oFile.ok()) {
        return failure("cannot write " + a_sFile, lastError());
    }
    const bool bZipped = a_sFile.ends_with(".gz") || a_sFile.ends_with(".tgz");
    Outcome oPacked = pack(a_sDirectory, a_sFile, bZipped,
                           [&](std::string_view a_sPiece) { return oFile.write(a_sPiece); });
    if (oPacked.ok() && !oFile.finish()) {
        return failure("cannot write " + a_sFile, lastError());
    }
    return oPacked;
}

/// Into a file that goes with the directory, but for its descriptor.
Outcome packUnnamed(const std::string& a_sDirectory, zel::UniqueFd& a_oArchive)
{
    const std::string sFile = a_sDirectory + "/archive";
    a_oArchive.reset(::open(sFile.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    return pack(a_sDirectory, sFile, true,
                [&](std::string_view a_sPiece) { return writeAll(a_oArchive.get(), a_sPiece); });
}

Outcome print(int a_iArchive, int a_iOutput)
{
    protectRedirection(a_iOutput);
    std::array<char, 65536> aPiece;
    for (off_t iDone = 0;;) {
        const ssize_t iSize = ::pread(a_iArchive, aPiece.data(), aPiece.size(), iDone);
        if (iSize == 0) {
            return {};
        }
        if (iSize < 0 || !writeAll(a_iOutput, {aPiece.data(), static_cast<std::size_t>(iSize)})) {
            return failure("cannot write the output", lastError());
        }
        iDone += iSize;
    }
}

/// What the name promises and the archive would not be; empty for a good name.
std::string foreignForm(const std::string& a_sFile)
{
    const std::string sName = lowerCase(a_sFile);
    for (const char* pEnd : {".zip", ".bz2", ".tbz2", ".tbz", ".xz", ".txz", ".zst", ".7z", ".rar"}) {
        if (sName.ends_with(pEnd)) {
            return pEnd;
        }
    }
    return {};
}

/// How long the dumps may have to wait for the end of a client's transaction, which is said. A daemon whose
/// socket is another one counts as one without a transaction; one that does not answer fails.
Outcome findTransaction(Session& a_oSession, std::chrono::seconds& a_oMost)
{
    auto& oConnection = a_oSession.m_oConnection;
    const auto iBefore = oConnection.generation();
    if (const auto oConnected = oConnection.connect(); !oConnected.ok()) {
        return oConnection.generation() == iBefore ? Outcome() : Outcome(oConnected); // nobody, or no answer
    }
    const auto oInfo = oConnection.call(client::request::Info{});
    if (!oInfo.ok() || oInfo->getValue("TransactionOpen").getUnsigned() == 0) {
        return oInfo;
    }
    const auto oTimeouts =
        oConnection.call(client::request::SelectRow{"ConfigServerConfig", 0, {"TransactionTimeout"}});
    if (oTimeouts.ok()) {
        a_oMost = std::chrono::seconds(oTimeouts->getValue("TransactionTimeout").getInteger());
        a_oSession.m_oErrors << "ledgerctl: the dumps wait for the end of another client's transaction, "
                             << a_oMost.count() << " s at most" << std::endl;
    }
    return oTimeouts;
}

} // namespace

Outcome runBackup(Session& a_oSession, const Arguments& a_oArguments)
{
    const std::string& sFile = a_oArguments.m_sFile;
    const std::string& sDumps = a_oArguments.m_sDumpDirectory;
    const bool bOutput = sFile == "-";
    if (bOutput && ::isatty(a_oSession.m_iOutput) == 1) {
        return Outcome::usage("a backup is nothing for a terminal; name a file, or redirect the output");
    }
    if (const std::string sForm = foreignForm(sFile); !sForm.empty()) {
        return Outcome::usage(sFile + ": a backup is a tar archive, not a " + sForm +
                              "; the name may end in .tar, .tgz or .gz");
    }
    if (!bOutput && !NewFile::isReplaceable(sFile)) {
        return Outcome::usage(sFile + " is not a regular file");
    }
    DumpWatch oWatch(sDumps, dumpNames());
    if (!oWatch.ok()) {
        return Outcome::usage("cannot watch the dump directory " + sDumps + ": " + lastError().message());
    }
    const auto oStart = Clock::now();
    std::chrono::seconds oTransaction{0};
    if (Outcome oAnswered = findTransaction(a_oSession, oTransaction); !oAnswered.ok()) {
        return oAnswered;
    }
    if (Outcome oSent = sendControl(a_oArguments.m_sFifo, "dump -p"); !oSent.ok()) {
        return oSent;
    }
    const auto oTimeout = a_oArguments.m_oTimeout.value_or(c_oTimeout + oTransaction);
    auto oDeadline = oStart + oTimeout;
    Outcome oOutcome = client::Status::disconnected("the daemon has not written its dumps to " + sDumps +
                                                    " within " + std::to_string(oTimeout.count()) + " s");
    bool bWritten = oWatch.waitForDumps(std::min(oDeadline, oStart + oTransaction + c_oSilence));
    if (!bWritten && Clock::now() < oDeadline) {
        a_oSession.m_oErrors << "ledgerctl: waiting for the daemon to write its dumps to " << sDumps << ", "
                             << oTimeout.count() << " s at most" << std::endl;
    }
    for (bWritten = bWritten || oWatch.waitForDumps(oDeadline); bWritten;
         bWritten = oWatch.waitForDumps(oDeadline)) {
        zel::UniqueFd oArchive;
        {
            const HeldSignals oHeld;
            const PrivateDirectory oCopies;
            if (!oCopies.ok()) {
                return failure("cannot make " + oCopies.path(), lastError());
            }
            Outcome oCopied = copyDumps(sDumps, oCopies.path());
            if (oWatch.touched()) {
                continue; // the copies may be of two times
            }
            if (!oCopied.ok()) {
                oOutcome = std::move(oCopied);
                oDeadline = std::min(oDeadline, Clock::now() + c_oRetry);
                continue;
            }
            Outcome oPacked =
                bOutput ? packUnnamed(oCopies.path(), oArchive) : packFile(oCopies.path(), sFile);
            if (!bOutput || !oPacked.ok()) {
                return oPacked;
            }
        }
        return print(oArchive.get(), a_oSession.m_iOutput);
    }
    return oOutcome;
}

} // namespace systema::cli
