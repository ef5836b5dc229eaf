#include "soak/daemon.h"

#include "bench/check.h"
#include "zel/systempath.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/syscall.h>
#include <unistd.h>

namespace soak {

namespace {

constexpr off_t c_iTailSize = 8 * 1024;
constexpr int c_iDeepestChild = 3;

int execute(const std::vector<std::string>& a_lCommand, const std::string& a_sLog)
{
    const int iLog = ::open(a_sLog.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::dup2(iLog, STDOUT_FILENO);
    ::dup2(iLog, STDERR_FILENO);
    ::close(iLog);
    std::vector<char*> lArguments;
    for (const auto& sWord : a_lCommand) {
        lArguments.push_back(const_cast<char*>(sWord.c_str()));
    }
    lArguments.push_back(nullptr);
    ::execvp(lArguments.front(), lArguments.data());
    return EXIT_FAILURE;
}

std::string readFile(const std::string& a_sPath)
{
    std::ostringstream oText;
    oText << std::ifstream(a_sPath).rdbuf(); // without an exception when the process goes meanwhile
    return oText.str();
}

std::vector<std::string> filesOf(const std::string& a_sDirectory)
{
    std::vector<std::string> lNames;
    std::error_code oIgnored; // the process may go at any moment
    for (std::filesystem::directory_iterator it(a_sDirectory, oIgnored), itEnd; it != itEnd;
         it.increment(oIgnored)) {
        lNames.push_back(it->path().filename());
    }
    return lNames;
}

/// The command of a process that a thread of another one has started, and those that it has started itself.
void addChildren(const std::string& a_sThread, const std::string& a_sLabel, int a_iDepth,
                 std::vector<std::string>& a_lTo)
{
    const std::string sRoot = zel::systemPath(""); // which all paths begin with
    std::istringstream oChildren(readFile(a_sThread + "/children"));
    for (std::string sChild; a_iDepth > 0 && oChildren >> sChild;) {
        std::string sCommand = readFile("/proc/" + sChild + "/cmdline");
        std::ranges::replace(sCommand, '\0', ' ');
        for (auto iAt = sCommand.find(sRoot); !sRoot.empty() && iAt != std::string::npos;
             iAt = sCommand.find(sRoot)) {
            sCommand.erase(iAt, sRoot.size());
        }
        if (!sCommand.empty()) {
            a_lTo.push_back(a_sLabel + sCommand);
        }
        addChildren("/proc/" + sChild + "/task/" + sChild, a_sLabel, a_iDepth - 1, a_lTo);
    }
}

long numberAfter(const std::string& a_sText, const std::string& a_sLabel)
{
    const auto iAt = a_sText.find(a_sLabel);
    return iAt == std::string::npos ? 0 : std::atol(a_sText.c_str() + iAt + a_sLabel.size());
}

} // namespace

Daemon::Daemon(const std::vector<std::string>& a_lCommand, std::string a_sLog)
    : m_sLog(std::move(a_sLog)),
      m_oProcess([&] { return execute(a_lCommand, m_sLog); }),
      m_oPidFd(static_cast<int>(::syscall(SYS_pidfd_open, m_oProcess.pid(), 0)))
{
    bench::check(static_cast<bool>(m_oPidFd), "the daemon cannot be watched");
}

bool Daemon::waitForEnd(std::chrono::milliseconds a_oTime) const
{
    pollfd oPoll{m_oPidFd.get(), POLLIN, 0};
    return ::poll(&oPoll, 1, static_cast<int>(a_oTime.count())) > 0;
}

void Daemon::terminate() const
{
    ::kill(m_oProcess.pid(), SIGTERM);
}

std::string Daemon::proc(const std::string& a_sFile) const
{
    return "/proc/" + std::to_string(m_oProcess.pid()) + a_sFile;
}

Usage Daemon::usage() const
{
    const std::string sStatus = readFile(proc("/status"));
    return {numberAfter(sStatus, "VmRSS:"), static_cast<long>(filesOf(proc("/fd")).size()),
            numberAfter(sStatus, "Threads:")};
}

Schedule Daemon::schedule() const
{
    std::istringstream oText(readFile(proc("/schedstat")));
    long long iRunning = 0;
    long long iReady = 0;
    oText >> iRunning >> iReady;
    return {std::chrono::nanoseconds(iRunning), std::chrono::nanoseconds(iReady)};
}

std::pair<double, double> Daemon::processorSeconds() const
{
    const std::string sStat = readFile(proc("/stat"));
    std::istringstream oText(sStat.substr(std::min(sStat.rfind(')'), sStat.size() - 1) + 1));
    std::string sIgnored;
    for (int i = 0; i < 11; ++i) {
        oText >> sIgnored;
    }
    double aTicks[4] = {};
    oText >> aTicks[0] >> aTicks[1] >> aTicks[2] >> aTicks[3];
    const auto fPerSecond = static_cast<double>(::sysconf(_SC_CLK_TCK));
    return {(aTicks[0] + aTicks[1]) / fPerSecond, (aTicks[2] + aTicks[3]) / fPerSecond};
}

std::vector<std::string> Daemon::situation() const
{
    const std::string sMain = std::to_string(m_oProcess.pid());
    const std::string sStat = readFile(proc("/stat"));
    const auto iState = sStat.rfind(") ");
    std::vector<std::string> lLines;
    lLines.push_back("main thread: state " +
                     (iState == std::string::npos ? "?" : sStat.substr(iState + 2, 1)) + ", in " +
                     readFile(proc("/wchan")));
    addChildren(proc("/task/" + sMain), "main thread waits for: ", c_iDeepestChild, lLines);
    for (const auto& sThread : filesOf(proc("/task"))) {
        if (sThread != sMain) {
            addChildren(proc("/task/" + sThread), "beside it runs: ", 1, lLines);
        }
    }
    return lLines;
}

off_t Daemon::logSize() const
{
    std::error_code oIgnored;
    return static_cast<off_t>(std::filesystem::file_size(m_sLog, oIgnored));
}

std::vector<std::string> Daemon::logLines(off_t a_iFrom, off_t a_iTo) const
{
    std::ifstream oLog(m_sLog);
    oLog.seekg(a_iFrom);
    std::vector<std::string> lLines;
    for (std::string sLine; oLog.tellg() < a_iTo && std::getline(oLog, sLine);) {
        lLines.push_back(sLine);
    }
    return lLines;
}

std::vector<std::string> Daemon::logTail() const
{
    const off_t iSize = logSize();
    return logLines(std::max<off_t>(0, iSize - c_iTailSize), iSize);
}

} // namespace soak
