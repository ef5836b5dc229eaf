// A message bus of a test's own, which the variable DBUS_SYSTEM_BUS_ADDRESS of the process names from then
// on.
//
// Always at the same address in one process, for the D-Bus library asks for the variable only once. The
// daemon dies with its object and with the test program.
#pragma once

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tests {

class PrivateBus
{
public:
    PrivateBus()
    {
        std::filesystem::create_directories(m_sDirectory);
        std::ofstream(m_sDirectory + "/bus.conf")
            << "<busconfig><listen>" << address() << "</listen>"
            << "<auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
            << "<allow send_destination=\"*\"/><allow send_type=\"signal\"/>"
            << "<allow receive_type=\"method_call\"/><allow receive_type=\"method_return\"/>"
            << "<allow receive_type=\"error\"/><allow receive_type=\"signal\"/></policy></busconfig>";
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address().c_str(), 1);
        start();
    }
    ~PrivateBus()
    {
        stop();
        std::filesystem::remove_all(m_sDirectory);
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    std::string address() const { return "unix:path=" + m_sDirectory + "/bus"; }

    /// Returns once it takes connections.
    void start()
    {
        int aReady[2];
        if (::pipe(aReady) != 0) {
            std::abort();
        }
        const std::string sConfig = "--config-file=" + m_sDirectory + "/bus.conf";
        const std::string sReady = "--print-address=" + std::to_string(aReady[1]);
        m_iPid = ::fork();
        if (m_iPid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", sConfig.c_str(), sReady.c_str(),
                     nullptr);
            ::_exit(EXIT_FAILURE);
        }
        ::close(aReady[1]);
        char iByte = 0;
        if (::read(aReady[0], &iByte, 1) != 1) {
            std::abort(); // there is no dbus-daemon
        }
        ::close(aReady[0]);
    }
    void signal(int a_iSignal) const { ::kill(m_iPid, a_iSignal); }
    void stop()
    {
        if (m_iPid > 0) {
            ::kill(m_iPid, SIGKILL);
            ::waitpid(m_iPid, nullptr, 0);
            m_iPid = 0;
        }
    }

private:
    const std::string m_sDirectory =
        (std::filesystem::temp_directory_path() / ("bus." + std::to_string(::getpid()))).string();
    pid_t m_iPid = 0;
};

} // namespace tests
