#include "bench/ledger.h"

#include "bench/check.h"
#include "zel/uniquefd.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <thread>
#include <unistd.h>

namespace bench {

namespace {

constexpr auto c_oStartTimeout = std::chrono::seconds(10);
constexpr auto c_oRetryPause = std::chrono::microseconds(100);

int runDaemon(const std::filesystem::path& a_oDirectory)
{
    const auto option = [&](const char* a_pFlag, const char* a_pName) {
        return std::string(a_pFlag) + (a_oDirectory / a_pName).string();
    };
    const int iLog = ::open((a_oDirectory / "log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::dup2(iLog, STDOUT_FILENO);
    ::dup2(iLog, STDERR_FILENO);
    ::setenv("LEDGERD_ROOT", a_oDirectory.c_str(), 1);
    // Not on the machine's own bus: on that of the measurement, if any.
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + (a_oDirectory / "bus").string()).c_str(), 0);
    ::execl(LEDGERD_BINARY, LEDGERD_BINARY, option("-d", "db").c_str(), option("-s", "socket").c_str(),
            option("-f", "fifo").c_str(), option("-p", "").c_str(), option("-x", "").c_str(), nullptr);
    return EXIT_FAILURE;
}

/// Returns when it is done.
Clock::time_point prepare(const std::filesystem::path& a_oDirectory,
                          const std::function<void(const std::filesystem::path&)>& a_oFill)
{
    std::filesystem::create_directory(a_oDirectory / "db");
    std::filesystem::create_directory(a_oDirectory / "etc");
    for (const char* pFile : {"etl.conf", "bootloader.conf"}) {
        std::filesystem::copy(std::filesystem::path(LEDGERD_PACKAGING) / pFile, a_oDirectory / "etc");
    }
    a_oFill(a_oDirectory / "db");
    return Clock::now();
}

} // namespace

Ledger::Ledger(const std::function<void(const std::filesystem::path&)>& a_oFill)
    : m_oStart(prepare(m_oWorkspace.path(), a_oFill)),
      m_oProcess([this] { return runDaemon(m_oWorkspace.path()); })
{
}

std::unique_ptr<Connection> Ledger::connect() const
{
    auto pConnection = std::make_unique<Connection>(
        Connection::Options{.m_sSocket = m_oWorkspace.path() / "socket", .m_sProgram = "ledger_bench"});
    const auto oEnd = Clock::now() + c_oStartTimeout;
    auto oStatus = pConnection->connect();
    while (!oStatus.ok() && Clock::now() < oEnd) {
        std::this_thread::sleep_for(c_oRetryPause);
        oStatus = pConnection->connect();
    }
    check(oStatus);
    return pConnection;
}

void Ledger::command(const std::string& a_sCommand) const
{
    const zel::UniqueFd oFifo(::open((path() / "fifo").c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    check(::write(oFifo.get(), a_sCommand.data(), a_sCommand.size()) ==
              static_cast<ssize_t>(a_sCommand.size()),
          "the daemon takes no command");
}

double Ledger::residentKiB() const
{
    std::ifstream oFile("/proc/" + std::to_string(pid()) + "/smaps_rollup");
    std::string sWord;
    while (oFile >> sWord && sWord != "Rss:") {
    }
    double fSize = 0;
    check(static_cast<bool>(oFile >> fSize), "the daemon's memory is unknown");
    return fSize;
}

} // namespace bench
