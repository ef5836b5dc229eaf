#include "restore/confined.h"

#include "zel/uniquefd.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

using std::chrono::seconds;
using systema::SqliteError;

namespace zel::cfg {

namespace {

using ECause = SqliteError::ECause;

// Exit statuses of the child, which no sanitizer uses. With a fault a text tells more.
constexpr int c_iExitContent = 100;
constexpr int c_iExitMachine = 101;
constexpr int c_iExitResult = 102; // and those above: the result of the work

void limit(int a_iResource, rlim_t a_iLimit)
{
    rlimit oLimit{};
    ::getrlimit(a_iResource, &oLimit);
    oLimit.rlim_cur = std::min({a_iLimit, oLimit.rlim_cur, oLimit.rlim_max});
    ::setrlimit(a_iResource, &oLimit);
}

/// The exit status of the child.
int work(const std::function<int()>& a_oWork, std::string& a_sFault)
{
    try {
        return c_iExitResult + a_oWork();
    } catch (const SqliteError& oError) {
        a_sFault = oError.what();
        return oError.isOfMachine() ? c_iExitMachine : c_iExitContent;
    } catch (const std::system_error& oError) {
        a_sFault = oError.what();
        return c_iExitMachine;
    } catch (const std::runtime_error& oError) {
        a_sFault = oError.what();
        return c_iExitContent;
    } catch (const std::exception& oError) {
        a_sFault = oError.what();
        return c_iExitMachine;
    }
}

[[noreturn]] void runChild(const Limits& a_oLimits, seconds a_oTime, const std::function<int()>& a_oWork,
                           pid_t a_iParent, int a_iReport)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != a_iParent) {
        ::_exit(c_iExitMachine);
    }
    std::signal(SIGXCPU, SIG_DFL);
    limit(RLIMIT_CPU, static_cast<rlim_t>(a_oTime.count()));
    limit(RLIMIT_CORE, 0);
    systema::SqliteFile::limitMemory(a_oLimits.memory());
    std::string sFault;
    const int iStatus = work(a_oWork, sFault);
    const ssize_t iWritten =
        ::write(a_iReport, sFault.data(), sFault.size()); // a line, which a pipe takes at once
    ::_exit(iWritten < 0 ? c_iExitMachine : iStatus);
}

std::string readAll(int a_iFile)
{
    std::string sText;
    char aBuffer[512];
    for (;;) {
        const ssize_t iPart = ::read(a_iFile, aBuffer, sizeof aBuffer);
        if (iPart > 0) {
            sText.append(aBuffer, static_cast<std::size_t>(iPart));
        } else if (iPart == 0 || errno != EINTR) {
            return sText;
        }
    }
}

[[noreturn]] void throwError(const char* a_pWhat)
{
    throw SqliteError(ECause::Machine, std::string(a_pWhat) + ": " + std::strerror(errno));
}

[[noreturn]] void throwSignal(int a_iSignal, seconds a_oTime)
{
    switch (a_iSignal) {
    case SIGXCPU:
        throw OutOfTime(ECause::Content,
                        "takes more than " + std::to_string(a_oTime.count()) + " s of the processor's time");
    case SIGKILL: // nothing in a text brings that about
        throw SqliteError(ECause::Machine, "killed");
    default:
        throw SqliteError(ECause::Content, "ends its loader with signal " + std::to_string(a_iSignal));
    }
}

} // namespace

int runConfined(const Limits& a_oLimits, const std::string& a_sFile, const std::function<int()>& a_oWork)
{
    std::error_code oNoSize; // of a file that will not do, as the work finds out
    const auto iSize = std::filesystem::file_size(a_sFile, oNoSize);
    const seconds oTime = a_oLimits.time(oNoSize ? 0 : iSize);
    int aPipe[2];
    if (::pipe2(aPipe, O_CLOEXEC) != 0) {
        throwError("no pipe");
    }
    const UniqueFd oRead(aPipe[0]);
    UniqueFd oWrite(aPipe[1]);
    const pid_t iParent = ::getpid();
    const pid_t iChild = ::fork();
    if (iChild < 0) {
        throwError("no process");
    }
    if (iChild == 0) {
        runChild(a_oLimits, oTime, a_oWork, iParent, oWrite.get());
    }
    oWrite.reset();
    const std::string sFault = readAll(oRead.get());
    int iStatus = 0;
    while (::waitpid(iChild, &iStatus, 0) < 0) {
        if (errno != EINTR) {
            throwError("no result");
        }
    }
    if (WIFSIGNALED(iStatus)) {
        throwSignal(WTERMSIG(iStatus), oTime);
    }
    const int iExit = WEXITSTATUS(iStatus);
    if (iExit < c_iExitResult) {
        throw SqliteError(iExit == c_iExitMachine ? ECause::Machine : ECause::Content, sFault);
    }
    return iExit - c_iExitResult;
}

} // namespace zel::cfg
