#include "tests/e2e/nettest.h"

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

void NetTest::startDaemon()
{
    start({}, [this] { m_oNamespace.enter(); });
}

void NetTest::serve(std::vector<std::string> a_lMoreOptions, const std::function<void()>& a_oInChild)
{
    m_pServices.reset();
    std::vector<std::string> lArguments{"serve", m_oSandbox.path("commands")};
    lArguments.insert(lArguments.end(), a_lMoreOptions.begin(), a_lMoreOptions.end());
    m_pServices = std::make_unique<Process>(
        m_sNetsim, Process::Start{lArguments, m_oSandbox.environment(), {}, a_oInChild});
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
    return run(m_sNetsim, {std::move(a_lArguments), m_oSandbox.environment(), {}, std::move(a_oInChild)});
}

std::string NetTest::at(const std::string& a_sTable, const std::string& a_sKeyColumn,
                        const std::string& a_sKey, const std::string& a_sColumn)
{
    const auto oRow = client().call(request::SelectKey{a_sTable, a_sKeyColumn, a_sKey, {a_sColumn}});
    return oRow.ok() ? oRow->getValue(a_sColumn).toText() : "result " + std::to_string(oRow.code());
}

void NetTest::await(const std::string& a_sValue, const std::function<std::string()>& a_oFunction)
{
    std::string sLast;
    EXPECT_TRUE(eventually([&] { return (sLast = a_oFunction()) == a_sValue; }))
        << "it stays " << sLast << ", which should become " << a_sValue;
}

} // namespace e2e
