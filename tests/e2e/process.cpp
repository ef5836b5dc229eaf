#include "tests/e2e/process.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace e2e {

namespace {

zel::UniqueFd makeMemory(const std::string& a_sContent = {})
{
    zel::UniqueFd oMemory(::memfd_create("e2e", MFD_CLOEXEC));
    if (::pwrite(oMemory.get(), a_sContent.data(), a_sContent.size(), 0) < 0) {
        std::abort();
    }
    return oMemory;
}

std::string readMemory(const zel::UniqueFd& a_oMemory)
{
    std::string sContent;
    std::array<char, 4096> aBuffer;
    ssize_t iRead = 0;
    while ((iRead = ::pread(a_oMemory.get(), aBuffer.data(), aBuffer.size(),
                            static_cast<off_t>(sContent.size()))) > 0) {
        sContent.append(aBuffer.data(), static_cast<std::size_t>(iRead));
    }
    return sContent;
}

} // namespace

bool eventually(const std::function<bool()>& a_oCondition)
{
    const auto oEnd = std::chrono::steady_clock::now() + c_oDeadline;
    while (!a_oCondition()) {
        if (std::chrono::steady_clock::now() > oEnd) {
            return false;
        }
        std::this_thread::sleep_for(
            std::chrono::milliseconds(1)); // between two looks, not for a time to pass
    }
    return true;
}

Process::Process(const std::string& a_sProgram, const Start& a_oStart)
    : m_oInput(makeMemory(a_oStart.m_sInput)),
      m_oOutput(makeMemory()),
      m_oErrors(makeMemory())
{
    std::vector<char*> lArguments{const_cast<char*>(a_sProgram.c_str())};
    for (const auto& sArgument : a_oStart.m_lArguments) {
        lArguments.push_back(const_cast<char*>(sArgument.c_str()));
    }
    lArguments.push_back(nullptr);

    const pid_t iParent = ::getpid();
    m_iPid = ::fork();
    if (m_iPid != 0) {
        return;
    }
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != iParent) {
        ::_exit(EXIT_FAILURE); // it died before we asked to die with it
    }
    for (const auto& [sName, sValue] : a_oStart.m_lEnvironment) {
        ::setenv(sName.c_str(), sValue.c_str(), 1);
    }
    ::dup2(m_oInput.get(), STDIN_FILENO);
    ::dup2(m_oOutput.get(), STDOUT_FILENO);
    ::dup2(m_oErrors.get(), STDERR_FILENO);
    if (a_oStart.m_oInChild) {
        a_oStart.m_oInChild();
    }
    ::execv(a_sProgram.c_str(), lArguments.data());
    ::_exit(EXIT_FAILURE);
}

Process::~Process()
{
    if (!hasEnded()) {
        signal(SIGKILL);
        ::waitpid(m_iPid, nullptr, 0);
    }
}

void Process::signal(int a_iSignal) const
{
    if (!m_oStatus && m_iPid > 0) {
        ::kill(m_iPid, a_iSignal);
    }
}

bool Process::hasEnded()
{
    int iStatus = 0;
    if (!m_oStatus && ::waitpid(m_iPid, &iStatus, WNOHANG) == m_iPid) {
        m_oStatus = iStatus;
    }
    return m_oStatus.has_value();
}

std::optional<int> Process::wait()
{
    eventually([this] { return hasEnded(); });
    return m_oStatus;
}

std::string Process::output() const
{
    return readMemory(m_oOutput);
}

std::string Process::errors() const
{
    return readMemory(m_oErrors);
}

Finished run(const std::string& a_sProgram, const Process::Start& a_oStart)
{
    Process oProcess(a_sProgram, a_oStart);
    const auto oStatus = oProcess.wait();
    EXPECT_TRUE(oStatus) << a_sProgram << " does not end";
    return {oStatus && WIFEXITED(*oStatus) ? WEXITSTATUS(*oStatus) : -1, oProcess.output(),
            oProcess.errors()};
}

} // namespace e2e
