#include "tests/e2e/nettest.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace e2e {

NetTest::NetTest(const std::string& a_sPolicy)
    : m_oBus(m_oSandbox.path("bus"), a_sPolicy),
      m_sNetsim(m_oSandbox.path("ledger-netsim"))
{
    fs::copy_file(LEDGER_NETSIM_BINARY, m_sNetsim);
    fs::create_directory(m_oSandbox.path("bin"));
    const std::string sCommands = m_oSandbox.path("commands");
    ::mkfifo(sCommands.c_str(), 0644);
    m_oCommands.reset(::open(sCommands.c_str(), O_RDWR | O_CLOEXEC));
}

void NetTest::SetUp()
{
    if (!m_oNamespace.ok()) {
        GTEST_SKIP() << "making a network namespace takes root";
    }
    m_oBus.start();
}

std::vector<std::pair<std::string, std::string>> NetTest::environment() const
{
    return {{"DBUS_SYSTEM_BUS_ADDRESS", m_oBus.address()}, {"LEDGERD_ROOT", m_oSandbox.path("")}};
}

void NetTest::startDaemon(std::vector<std::string> a_lMoreOptions)
{
    start(std::move(a_lMoreOptions), [this] {
        m_oNamespace.enter();
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", m_oBus.address().c_str(), 1);
        ::setenv("PATH", (m_oSandbox.path("bin") + ":" + ::getenv("PATH")).c_str(), 1);
    });
}

void NetTest::serve(std::vector<std::string> a_lMoreOptions, const std::function<void()>& a_oInChild)
{
    m_pServices.reset();
    std::vector<std::string> lArguments{"serve", m_oSandbox.path("commands")};
    lArguments.insert(lArguments.end(), a_lMoreOptions.begin(), a_lMoreOptions.end());
    m_pServices =
        std::make_unique<Process>(m_sNetsim, Process::Start{lArguments, environment(), {}, a_oInChild});
    ASSERT_TRUE(eventually([this] { return !m_pServices->output().empty() || m_pServices->hasEnded(); }) &&
                !m_pServices->hasEnded())
        << m_pServices->errors();
}

void NetTest::tell(const std::string& a_sCommand) const
{
    const std::string sLine = a_sCommand + "\n";
    EXPECT_EQ(sLine.size(), ::write(m_oCommands.get(), sLine.data(), sLine.size()));
}

Finished NetTest::netsim(std::vector<std::string> a_lArguments, std::function<void()> a_oInChild) const
{
    return run(m_sNetsim, {std::move(a_lArguments), environment(), {}, std::move(a_oInChild)});
}

void NetTest::setProgram(const std::string& a_sName, const std::string& a_sShellScript) const
{
    // Put in its place whole: nobody may start the half of it.
    const std::string sProgram = m_oSandbox.path("bin/" + a_sName);
    writeFile(sProgram + ".new", "#!/bin/sh\n" + a_sShellScript + "\n");
    fs::permissions(sProgram + ".new", fs::perms(0755));
    fs::rename(sProgram + ".new", sProgram);
}

std::string NetTest::at(const std::string& a_sTable, const std::string& a_sKeyColumn,
                        const std::string& a_sKey, const std::string& a_sColumn)
{
    const auto oRow = client().call(request::SelectKey{a_sTable, a_sKeyColumn, a_sKey, {a_sColumn}});
    return oRow.ok() ? oRow->getValue(a_sColumn).toText() : "result " + std::to_string(oRow.code());
}

unsigned NetTest::count(const std::string& a_sTable)
{
    const auto oSize = client().call(request::GetSize{a_sTable});
    EXPECT_TRUE(oSize.ok()) << oSize.text();
    return *oSize;
}

void NetTest::await(const std::string& a_sValue, const std::function<std::string()>& a_oFunction)
{
    std::string sLast;
    EXPECT_TRUE(eventually([&] { return (sLast = a_oFunction()) == a_sValue; }))
        << "it stays " << sLast << ", which should become " << a_sValue;
}

} // namespace e2e
