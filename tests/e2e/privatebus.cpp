#include "tests/e2e/privatebus.h"

#include "zel/uniquefd.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>

namespace e2e {

namespace {

const std::string c_sOpenPolicy = R"(
  <policy context="default">
    <allow own="*"/>
    <allow send_type="method_call"/>
  </policy>)";

std::string configuration(const std::string& a_sSocket, const std::string& a_sPolicy)
{
    return R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <auth>EXTERNAL</auth>
  <listen>unix:path=)" +
           a_sSocket + R"(</listen>
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
  </policy>)" +
           a_sPolicy + "\n</busconfig>\n";
}

bool accepts(const std::string& a_sSocket)
{
    const zel::UniqueFd oSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un oAddress{};
    oAddress.sun_family = AF_UNIX;
    a_sSocket.copy(oAddress.sun_path, sizeof oAddress.sun_path - 1);
    return ::connect(oSocket.get(), reinterpret_cast<const sockaddr*>(&oAddress), sizeof oAddress) == 0;
}

} // namespace

PrivateBus::PrivateBus(const Sandbox& a_oSandbox, const std::string& a_sPolicy)
    : m_sConfiguration(a_oSandbox.path("bus.conf")),
      m_sSocket(a_oSandbox.path("bus"))
{
    writeFile(m_sConfiguration, configuration(m_sSocket, a_sPolicy.empty() ? c_sOpenPolicy : a_sPolicy));
}

void PrivateBus::start()
{
    m_pProcess = std::make_unique<Process>(
        "/usr/bin/dbus-daemon",
        Process::Start{{"--config-file=" + m_sConfiguration, "--nofork", "--nopidfile", "--nosyslog"}});
    ASSERT_TRUE(eventually([this] { return accepts(m_sSocket) || m_pProcess->hasEnded(); }) &&
                !m_pProcess->hasEnded())
        << "dbus-daemon does not run: " << m_pProcess->errors();
}

} // namespace e2e
