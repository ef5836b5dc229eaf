#include "soak/daemon.h"

#include "bench/check.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/syscall.h>
#include <unistd.h>

namespace soak {

namespace {

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

/// The commands that a thread of the daemon has started and that still run.
void addChildren(const std::string& a_sThread, const std::string& a_sLabel, std::vector<std::string>& a_lTo)
{
    std::istringstream oChildren(readFile(a_sThread + "/children"));
    for (std::string sChild; oChildren >> sChild;) {
        std::string sCommand = readFile("/proc/" + sChild + "/cmdline");
        std::ranges::replace(sCommand, '\0', ' ');
        a_lTo.push_back(a_sLabel + sCommand);
    }
}

long numberAfter(const std::string& a_sText, const std::string& a_sLabel)
{
    const auto iAt = a_sText.find(a_sLabel);
    return iAt == std::string::npos ? 0 : std::atol(a_sText.c_str() + iAt + a_sLabel.size());
}

} // namespace

Daemon::Daemon(pid_t a_iProcess, std::string a_sLog)
    : m_sProcess(std::to_string(a_iProcess)),
      m_sLog(std::move(a_sLog)),
      m_oPidFd(static_cast<int>(::syscall(SYS_pidfd_open, a_iProcess, 0)))
{
    bench::check(static_cast<bool>(m_oPidFd), "there is no process " + m_sProcess);
}

bool Daemon::waitForEnd(std::chrono::milliseconds a_oTime) const
{
    pollfd oPoll{m_oPidFd.get(), POLLIN, 0};
    return ::poll(&oPoll, 1, static_cast<int>(a_oTime.count())) > 0;
}

std::string Daemon::proc(const std::string& a_sFile) const
{
    return "/proc/" + m_sProcess + a_sFile;
}

Usage Daemon::usage() const
{
    const std::string sStatus = readFile(proc("/status"));
    return {numberAfter(sStatus, "VmRSS:"), static_cast<long>(filesOf(proc("/fd")).size())};
}

Schedule Daemon::schedule() const
{
    std::istringstream oText(readFile(proc("/schedstat")));
    long long iRunning = 0;
    long long iReady = 0;
    oText >> iRunning >> iReady;
    return {std::chrono::nanoseconds(iRunning), std::chrono::nanoseconds(iReady)};
}

std::vector<std::string> Daemon::situation() const
{
    const std::string sStat = readFile(proc("/stat"));
    const auto iState = sStat.rfind(") ");
    std::vector<std::string> lLines;
    lLines.push_back("main thread: state " +
                     (iState == std::string::npos ? "?" : sStat.substr(iState + 2, 1)) + ", in " +
                     readFile(proc("/wchan")));
    addChildren(proc("/task/" + m_sProcess), "main thread waits for: ", lLines);
    for (const auto& sThread : filesOf(proc("/task"))) {
        if (sThread != m_sProcess) {
            addChildren(proc("/task/" + sThread), "beside it runs: ", lLines);
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

} // namespace soak
