// A message bus of a test's own, by the rules of a real system bus. The daemon dies with its object and with
// the test program.
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
    static constexpr const char* c_pOpenPolicy = R"(
  <policy context="default">
    <allow own="*"/>
    <allow send_type="method_call"/>
  </policy>)";

    /// Whoever is on it may do what he wants, unless another policy is given: the elements of the
    /// configuration that come after the rules of a real system bus.
    explicit PrivateBus(const std::string& a_sSocket, const std::string& a_sPolicy = c_pOpenPolicy)
        : m_sSocket(a_sSocket)
    {
        std::ofstream(configuration()) << R"(<busconfig>
  <type>system</type>
  <auth>EXTERNAL</auth>
  <listen>)" << address() << R"(</listen>
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/>
  </policy>)" << a_sPolicy << "\n</busconfig>\n";
    }
    ~PrivateBus() { stop(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    std::string address() const { return "unix:path=" + m_sSocket; }

    /// Returns once it takes connections.
    void start()
    {
        int aReady[2];
        if (::pipe(aReady) != 0) {
            std::abort();
        }
        const std::string sConfig = "--config-file=" + configuration();
        const std::string sReady = "--print-address=" + std::to_string(aReady[1]);
        m_iPid = ::fork();
        if (m_iPid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", "--nosyslog", sConfig.c_str(),
                     sReady.c_str(), nullptr);
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
    /// Kills it.
    void stop()
    {
        if (m_iPid > 0) {
            ::kill(m_iPid, SIGKILL);
            ::waitpid(m_iPid, nullptr, 0);
            m_iPid = 0;
        }
    }

private:
    std::string configuration() const { return m_sSocket + ".conf"; }

    const std::string m_sSocket;
    pid_t m_iPid = 0;
};

/// One that runs, and is the system bus of this process from then on. Always at the same address in one
/// process, for the D-Bus library asks for the variable only once.
class ProcessBus
{
public:
    ProcessBus()
    {
        use();
        m_oBus.start();
    }
    ~ProcessBus()
    {
        m_oBus.stop();
        std::filesystem::remove_all(m_sDirectory);
    }
    ProcessBus(const ProcessBus&) = delete;
    ProcessBus& operator=(const ProcessBus&) = delete;

    PrivateBus* operator->() { return &m_oBus; }

    /// From now on the system bus of this process is this one, which is not there until it is made.
    static void use()
    {
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + directory() + "/bus").c_str(), 1);
    }

private:
    static std::string directory()
    {
        return std::filesystem::temp_directory_path() / ("bus." + std::to_string(::getpid()));
    }
    static std::string makeDirectory()
    {
        std::filesystem::create_directories(directory());
        return directory();
    }

    const std::string m_sDirectory = makeDirectory();
    PrivateBus m_oBus{m_sDirectory + "/bus"};
};

} // namespace tests
