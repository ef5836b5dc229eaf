#include "server/sqlitedump.h"

#include "storage/databasefiles.h"
#include "storage/sqliteplugin.h"
#include "zel/assert.h"
#include "zel/execute.h"
#include "zel/log.h"
#include "zel/uniquefd.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace zel::cfg {

using Clock = std::chrono::steady_clock;
using error::Assert;

namespace {

constexpr const char* c_pModule = "SqliteDump";
constexpr const char* c_pMark = "incomplete"; // the save command looks for it
constexpr std::string_view c_sLastStatement = "COMMIT;";
constexpr std::size_t c_iPathSize = 128;   // longer paths are cut
constexpr std::size_t c_iErrorsSize = 256; // of what the shell says

constexpr SourceTag tag(unsigned a_iLine)
{
    return {"sqlitedump", a_iLine};
}

/// Sets the time of an old dump far back, so that whatever is written to it shows: on a file system that
/// keeps whole seconds a new dump may else have the time of the old one.
void setBack(const char* a_pPath)
{
    const timespec aTimes[] = {{0, UTIME_OMIT}, {0, 0}};
    ::utimensat(AT_FDCWD, a_pPath, aTimes, 0);
}

/// When the file was last written, nothing when there is none: an old dump is no proof of a new one.
std::optional<std::pair<time_t, long>> lastChange(const char* a_pPath)
{
    struct stat oStatus
    {
    };
    if (::stat(a_pPath, &oStatus) != 0) {
        return {};
    }
    return std::pair(oStatus.st_mtim.tv_sec, oStatus.st_mtim.tv_nsec);
}

} // namespace

SqliteDump::SqliteDump(const char* a_pDumpPath, const char* a_pDatabasePath, bool a_bVerbose,
                       std::chrono::milliseconds a_oCeiling)
    : m_iModule(ZEL_Sysloglevel_registerModul(c_pModule)),
      m_pDumpPath(a_pDumpPath),
      m_pDatabasePath(a_pDatabasePath),
      m_oCeiling(a_oCeiling)
{
    Assert(nullptr != a_pDumpPath, "0 != a_dumppath", tag(46));
    Assert(nullptr != a_pDatabasePath, "0 != a_databasepath", tag(47));
    ZEL_Sysloglevel_changeTracelevel(c_pModule, a_bVerbose ? c_iTraceLevelVerbose : c_iTraceLevelNormal);
}

void SqliteDump::checkPath(const std::string& a_sDirectory)
{
    std::size_t iLongestName = 0;
    for (const auto& oFile : systema::c_aDatabaseFiles) {
        iLongestName = std::max(iLongestName, std::strlen(oFile.m_pName));
    }
    const std::size_t iMost = c_iPathSize - 1 - std::strlen("/.sql") - iLongestName;
    if (a_sDirectory.size() > iMost) {
        throw std::runtime_error(a_sDirectory + ": a dump directory's path has at most " +
                                 std::to_string(iMost) + " bytes");
    }
}

bool SqliteDump::hasPlugin(const systema::SqlitePlugin* a_pPlugin) const
{
    Assert(nullptr != a_pPlugin, "0 != a_plugin", tag(66));
    return std::ranges::find(m_lPlugins, a_pPlugin) != m_lPlugins.end();
}

void SqliteDump::addPlugin(const systema::SqlitePlugin* a_pPlugin)
{
    Assert(false == hasPlugin(a_pPlugin), "false == hasPlugin( a_plugin)", tag(76));
    m_lPlugins.push_back(a_pPlugin);
    Assert(true == hasPlugin(a_pPlugin), "true == hasPlugin( a_plugin)", tag(80));
}

bool SqliteDump::dump(bool a_bPersistent, bool a_bTransient, int a_iRetries)
{
    if (!directoryAnswers()) {
        return false;
    }
    // A daemon that is killed in between leaves dumps of two moments, and a save may be under way.
    const std::string sMark = std::string(m_pDumpPath) + "/" + c_pMark;
    if (a_bPersistent) {
        const UniqueFd oMark(::open(sMark.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
    }
    bool bAllGood = true;
    bool bLastGood = true; // so the directory answered
    for (const systema::SqlitePlugin* pPlugin : m_lPlugins) {
        if (!(pPlugin->isPersistent() ? a_bPersistent : a_bTransient)) {
            continue;
        }
        if (!bLastGood && !directoryAnswers()) {
            return false;
        }
        bLastGood = dumpDatabase(pPlugin->getDatabase().getName(), a_iRetries);
        bAllGood = bAllGood && bLastGood;
    }
    if (a_bPersistent && bAllGood && ::unlink(sMark.c_str()) != 0 && errno != ENOENT) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Could not remove %s: %s", sMark.c_str(),
                              std::strerror(errno));
    }
    return bAllGood;
}

/// Has another process look into the directory first, which can be killed: on a dead mount our own calls
/// would never return. The name is a new one, or the answer might come from a cache.
bool SqliteDump::directoryAnswers() const
{
    const std::string sCommand = std::string("[ -e ") + m_pDumpPath + "/.$$ ]";
    const int iResult = executeCommand(
        sCommand, [](std::string_view) {}, m_oCeiling);
    if (iResult == c_iExecuteTimedOut) {
        ZEL_Sysloglevel_error(m_iModule, here(), "The dump directory %s does not answer", m_pDumpPath);
    }
    return iResult != c_iExecuteTimedOut;
}

bool SqliteDump::dumpDatabase(const std::string& a_sName, int a_iRetries)
{
    const std::string sCommand = std::string("sqlite3 ") + m_pDatabasePath + "/" + a_sName + " \".dump\" > " +
                                 m_pDumpPath + "/" + a_sName + ".sql";
    char aPath[c_iPathSize];
    std::snprintf(aPath, sizeof aPath, "%s/%s.sql", m_pDumpPath, a_sName.c_str());
    setBack(aPath);
    const auto oBefore = lastChange(aPath);
    const auto oDeadline = Clock::now() + m_oCeiling;
    for (int iTries = a_iRetries; iTries >= 0; --iTries) {
        ZEL_Sysloglevel_trace(m_iModule, tag(126), "%s", sCommand.c_str());
        const auto oLeft = std::chrono::ceil<std::chrono::milliseconds>(oDeadline - Clock::now());
        char aErrors[c_iErrorsSize];
        // The dump itself tells how it went; the status of the shell does not.
        if (oLeft.count() <= 0 ||
            ZEL_Execute_Command(sCommand.c_str(), aErrors, sizeof aErrors, oLeft) == c_iExecuteTimedOut) {
            // Nor is it looked at: who hung on the file was perhaps not the shell.
            ZEL_Sysloglevel_error(m_iModule, here(), "SQL dump %s is not complete within %ld ms", aPath,
                                  static_cast<long>(m_oCeiling.count()));
            return false;
        }
        if (oBefore && oBefore == lastChange(aPath)) {
            ZEL_Sysloglevel_error(m_iModule, here(), "SQL dump %s could not be written", aPath);
        } else if (checkDump(aPath)) {
            return true;
        }
        if (iTries == 0 && aErrors[0] != '\0') {
            ZEL_Sysloglevel_error(m_iModule, here(), "The sqlite3 shell says: %s", aErrors);
        }
        ZEL_Sysloglevel_error(m_iModule, tag(134), "SQL dump %s is corrupt. Retry %d times", aPath, iTries);
    }
    return false;
}

bool SqliteDump::checkDump(const char* a_pPath)
{
    const int iFd = ::open(a_pPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK); // whatever has that name
    if (iFd < 0) {
        ZEL_Sysloglevel_error(m_iModule, tag(145), "Could not open dump: %s", a_pPath);
        return false;
    }
    const bool bComplete = endsInCommit(iFd, a_pPath);
    if (::close(iFd) != 0) {
        ZEL_Sysloglevel_error(m_iModule, tag(167), "Error while closing %s: %s", a_pPath,
                              std::strerror(errno));
    }
    return bComplete;
}

bool SqliteDump::endsInCommit(int a_iFd, const char* a_pPath) const
{
    const off_t iSize = ::lseek(a_iFd, 0, SEEK_END);
    if (iSize <= 0) {
        return false;
    }
    // A file that is too short is read from its end, and so gives nothing.
    if (::lseek(a_iFd, iSize - static_cast<off_t>(c_sLastStatement.size() + 1), SEEK_SET) < 0) {
        ZEL_Sysloglevel_error(m_iModule, tag(151), "lseek failed: %s", std::strerror(errno));
    }
    char aEnd[c_sLastStatement.size()];
    const ssize_t iRead = ::read(a_iFd, aEnd, sizeof aEnd);
    if (iRead < 0) {
        ZEL_Sysloglevel_error(m_iModule, tag(157), "Could not read from %s: %s", a_pPath,
                              std::strerror(errno));
        return false;
    }
    return std::string_view(aEnd, static_cast<std::size_t>(iRead)) == c_sLastStatement;
}

} // namespace zel::cfg
