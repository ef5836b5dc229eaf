#include "tests/e2e/daemontest.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <regex>
#include <sched.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace e2e {

Client::Client(const std::string& a_sSocket) : Connection({a_sSocket, "e2e", c_oDeadline})
{
    const auto oStatus = connect();
    EXPECT_TRUE(oStatus.ok()) << oStatus.text();
}

unsigned Client::info(const std::string& a_sName)
{
    const auto oInfo = call(request::Info{});
    const Value* pValue = oInfo->find(a_sName);
    EXPECT_NE(nullptr, pValue) << a_sName;
    return pValue ? pValue->getUnsigned() : 0;
}

unsigned Client::count(const std::string& a_sTable)
{
    const auto oSize = call(request::GetSize{a_sTable});
    EXPECT_TRUE(oSize.ok()) << a_sTable << ": " << oSize.text();
    return *oSize;
}

std::string Client::cell(const std::string& a_sTable, int a_iId, const std::string& a_sColumn)
{
    const std::string sId = std::to_string(a_iId);
    const auto oRow = call(request::SelectKey{a_sTable, "Id", sId, {a_sColumn}});
    return oRow.ok() ? oRow->getValue(a_sColumn).toText() : "result " + std::to_string(oRow.code());
}

std::vector<std::string> Client::rows(const std::string& a_sTable, const NameList& a_lColumns)
{
    const auto oRows = call(request::SelectRows{a_sTable, a_lColumns});
    EXPECT_TRUE(oRows.ok()) << a_sTable << ": " << oRows.text();
    std::vector<std::string> lRows(oRows->size());
    for (std::size_t i = 0; i < oRows->size(); ++i) {
        for (const auto& oCell : (*oRows)[i].m_lCells) {
            lRows[i] += (lRows[i].empty() ? "" : " ") + oCell.toValue().toText();
        }
    }
    return lRows;
}

std::vector<std::string> Client::changes()
{
    std::vector<std::string> lTables;
    for (auto oTable = waitForChange(0ms); *oTable; oTable = waitForChange(0ms)) {
        lTables.push_back(**oTable);
    }
    std::ranges::sort(lTables);
    return lTables;
}

std::set<std::string> Client::awaitChanges(std::size_t a_iCount)
{
    std::set<std::string> lTables;
    const auto take = [&] {
        std::ranges::move(changes(), std::inserter(lTables, lTables.end()));
        return lTables.size() >= a_iCount;
    };
    EXPECT_TRUE(eventually(take)) << lTables.size();
    EXPECT_EQ(0U, code(request::Ping{}));
    take();
    return lTables;
}

DaemonTest::DaemonTest(std::string a_sProgram)
    : m_sProgram(std::move(a_sProgram)),
      m_sSocket(m_oSandbox.socket())
{
}

void DaemonTest::TearDown()
{
    if (m_pDaemon) {
        stop();
    }
}

std::vector<std::string> DaemonTest::paths(const std::vector<std::string>& a_lMore) const
{
    std::vector<std::string> lOptions{
        "-d", m_oSandbox.path("tmp/db"),           "-s", m_sSocket,
        "-f", m_oSandbox.path("tmp/ledgerd.fifo"), "-p", m_oSandbox.path("var/run"),
        "-x", m_oSandbox.path("flash/sql")};
    lOptions.insert(lOptions.end(), a_lMore.begin(), a_lMore.end());
    return lOptions;
}

void DaemonTest::start(std::vector<std::string> a_lMoreOptions, std::function<void()> a_oInChild)
{
    m_pDaemon = std::make_unique<Process>(
        m_sProgram,
        Process::Start{paths(a_lMoreOptions), m_oSandbox.environment(), {}, std::move(a_oInChild)});
    const bool bAnswers = eventually([&] {
        systema::client::Connection oProbe({m_sSocket, "probe", c_oDeadline});
        return oProbe.connect().ok() || m_pDaemon->hasEnded();
    });
    ASSERT_TRUE(bAnswers && !m_pDaemon->hasEnded()) << "ledgerd does not run: " << m_pDaemon->errors();
    m_pClient = std::make_unique<Client>(m_sSocket);
    ASSERT_TRUE(eventually([&] { return client().info("Clients") == 1; })); // the probe has gone
}

Finished DaemonTest::runDaemon(std::vector<std::string> a_lOptions) const
{
    return run(m_sProgram, {std::move(a_lOptions), m_oSandbox.environment()});
}

void DaemonTest::stop()
{
    m_pDaemon->signal(SIGCONT); // had the test stopped it
    // A signal that comes while it works is noticed after its next wait, which may last for two seconds.
    eventually([this] { return m_pDaemon->hasEnded() || isWaiting(); });
    m_pDaemon->signal(SIGTERM);
    const auto oStatus = m_pDaemon->wait();
    EXPECT_TRUE(oStatus && WIFEXITED(*oStatus) && WEXITSTATUS(*oStatus) == 0)
        << "ledgerd " << (oStatus ? "ends with wait status " + std::to_string(*oStatus) : "does not end");
    if (HasFailure()) {
        std::cerr << "The daemon's log:\n" << m_pDaemon->errors();
    }
    m_pClient.reset();
    m_pDaemon.reset();
}

Finished DaemonTest::ledgerctl(std::vector<std::string> a_lArguments, std::string a_sInput) const
{
    return run(LEDGERCTL_BINARY, {std::move(a_lArguments), m_oSandbox.environment(), std::move(a_sInput)});
}

std::string DaemonTest::exported() const
{
    const auto oExport = ledgerctl({"export"});
    EXPECT_EQ(0, oExport.m_iStatus) << oExport.m_sErrors;
    return oExport.m_sOutput;
}

zel::UniqueFd DaemonTest::openFifo() const
{
    return zel::UniqueFd(::open(m_oSandbox.path("tmp/ledgerd.fifo").c_str(), O_WRONLY | O_NONBLOCK));
}

void DaemonTest::command(const std::string& a_sCommand)
{
    const zel::UniqueFd oFifo = openFifo();
    EXPECT_EQ(static_cast<ssize_t>(a_sCommand.size()),
              ::write(oFifo.get(), a_sCommand.data(), a_sCommand.size()));
    int iUnread = 0;
    EXPECT_TRUE(eventually([&] { return ::ioctl(oFifo.get(), FIONREAD, &iUnread) == 0 && iUnread == 0; }));
    EXPECT_EQ(0U, client().code(request::Ping{}));
}

std::vector<std::string> DaemonTest::logOf(const std::function<void()>& a_oFunction)
{
    const std::size_t iBefore = m_pDaemon->errors().size();
    a_oFunction();
    std::istringstream oLog(m_pDaemon->errors().substr(iBefore));
    static const std::regex s_oHead("^\\S+ \\S+ (\\S+) +(\\S+) \\S+: +");
    std::vector<std::string> lLines;
    for (std::string sLine; std::getline(oLog, sLine);) {
        lLines.push_back(std::regex_replace(sLine, s_oHead, "$1 $2 "));
    }
    return lLines;
}

std::string DaemonTest::seenByDaemon(const std::string& a_sBelow) const
{
    return "/proc/" + std::to_string(m_pDaemon->pid()) + "/root" + m_oSandbox.path(a_sBelow);
}

std::string DaemonTest::status(const std::string& a_sName) const
{
    const std::string sStatus = readFile("/proc/" + std::to_string(m_pDaemon->pid()) + "/status");
    const std::size_t iAt = sStatus.find("\n" + a_sName + ":\t");
    EXPECT_NE(std::string::npos, iAt) << a_sName;
    const std::size_t iValue = iAt + a_sName.size() + 3;
    return sStatus.substr(iValue, sStatus.find('\n', iValue) - iValue);
}

bool mountSmallDisk(const std::string& a_sPlace, const std::string& a_sSize)
{
    return ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("none", a_sPlace.c_str(), "tmpfs", 0, ("size=" + a_sSize).c_str()) == 0;
}

} // namespace e2e
