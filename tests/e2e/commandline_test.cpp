// The command line of ledgerd: what it prints, byte for byte, and how it exits.
#include "tests/e2e/daemontest.h"

#include <filesystem>

namespace e2e {
namespace {

const std::string c_sUsage =
    "Usage: ledgerd [options]\n"
    " Options:\n"
    "  -h, --help\t\t\t\tPrint this help\n"
    "  -b, --background\t\t\tStart as daemon instead of starting in foreground\n"
    "  -v, --verbose\t\t\t\tEnable verbose output\n"
    "  -d, --database-path <filepath>\tPath to database files (default: /tmp/db)\n"
    "  -s, --socket-file <filename>\t\tUnix socket file (default: /tmp/ledgerd.socket)\n"
    "  -f, --fifo-file <filename>\t\tFIFO file (default: /tmp/ledgerd.fifo)\n"
    "  -p, --pid-file <filepath>\t\tPID file path (default: /var/run)\n"
    "  -x, --dump-path <path>\t\tpath for SQL dump files (default: /flash/sql)\n"
    "  -t, --flash-time <flash wait time>\tWait time for flash backup (default: 10 sec / 0 for disabling)\n"
    "  -m, --map-file <filepath>\t\tThe absolute path to an file to be mapped into configmanager\n"
    "  -V, --version\t\t\t\tOutput version information and exit\n";

using CommandLine = DaemonTest;

TEST_F(CommandLine, VersionHelpAndErrorsFollowTheEchoOfWhatStandsBefore)
{
    struct
    {
        std::vector<std::string> m_lOptions;
        std::string m_sOutput;
        std::string m_sErrors{};
    } const aCases[] = {
        {{"--version", "-d", "after", "-z"}, "2.13.0\n"},
        {{"-x", "1", "-p", "2", "-b", "-f", "3", "-v", "-s", "4", "-m", "no echo", "-d", "5", "-t", "6",
          "-V"},
         "Dump path: 1\nPID file path: 2\nFIFO file: 3\nUnix socket file: 4\nDatabase path: 5\n"
         "Flash wait time: 6\n2.13.0\n"},
        {{"--database-path=1", "--socket-file", "2", "--fifo-file=3", "--pid-file", "4", "--dump-path=5",
          "--flash-time", "60", "--map-file=6", "--verbose", "--background", "--version"},
         "Database path: 1\nUnix socket file: 2\nFIFO file: 3\nPID file path: 4\nDump path: 5\n"
         "Flash wait time: 60\n2.13.0\n"},
        {{"-d", "/elsewhere", "-h", "-s", "unseen"}, "Database path: /elsewhere\n", c_sUsage},
        {{"--help"}, "", c_sUsage},
    };
    for (const auto& oCase : aCases) {
        const auto oRun = runDaemon(oCase.m_lOptions);
        EXPECT_EQ(oCase.m_sOutput, oRun.m_sOutput);
        EXPECT_EQ(oCase.m_sErrors, oRun.m_sErrors);
        EXPECT_EQ(0, oRun.m_iStatus);
    }
    for (const char* pUnknown : {"-z", "--nonsense", "-d", "--socket-file", "--verbose=3"}) {
        const auto oRun = runDaemon({"-t", "5", pUnknown});
        EXPECT_EQ("Flash wait time: 5\n", oRun.m_sOutput);
        EXPECT_THAT(oRun.m_sErrors,
                    EndsWith("\nUnknown option: 63\n" + c_sUsage + // the code of '?'
                             "ledgerd: \"" + pUnknown +
                             "\" is no option, or its argument is missing or one too many\n"));
        EXPECT_EQ(1, oRun.m_iStatus);
    }
    EXPECT_FALSE(std::filesystem::exists(m_oSandbox.pidFile()));
}

TEST_F(CommandLine, AWaitTimeThatIsNoNumberDoesNotTurnTheSavingOffNorIsAWordIgnored)
{
    const std::string sRange = "is not a number of 0 to 2147483647\n";
    const std::pair<std::vector<std::string>, std::string> aCases[] = {
        {{"-t", "x"}, "the flash wait time \"x\" " + sRange},
        {{"--flash-time=5s"}, "the flash wait time \"5s\" " + sRange},
        {{"-t", "-1"}, "the flash wait time \"-1\" " + sRange},
        {{"-t", " 5"}, "the flash wait time \" 5\" " + sRange},
        {{"-t2147483648"}, "the flash wait time \"2147483648\" " + sRange},
        {{"-x", ""}, "the argument of \"-x\" is empty\n"},
        {{"stop"}, "\"stop\" is no option; see ledgerd --help\n"},
        {{"--", "-V"}, "\"-V\" is no option; see ledgerd --help\n"},
    };
    for (const auto& [lOptions, sText] : aCases) {
        const auto oRun = runDaemon(lOptions);
        EXPECT_EQ("ledgerd: " + sText, oRun.m_sErrors);
        EXPECT_EQ("", oRun.m_sOutput);
        EXPECT_EQ(1, oRun.m_iStatus);
    }
    EXPECT_EQ("Flash wait time: 2147483647\n2.13.0\n", runDaemon({"-t", "2147483647", "-V"}).m_sOutput);
}

TEST_F(CommandLine, DefaultPathsAreBelowTheRootOfTheEnvironmentAndThoseOfTheConfiguration)
{
    std::filesystem::rename(m_oSandbox.path("tmp/db"), m_oSandbox.path("moved"));
    writeFile(m_oSandbox.path("etc/ledger-store.conf"), "database-directory=/moved\n");
    Process oDaemon(LEDGERD_BINARY, {{}, m_oSandbox.environment()});
    ASSERT_TRUE(eventually([&] {
        return ledgerctl({"count", "Item"}).m_sOutput == "3\n";
    })) << oDaemon.errors();
    EXPECT_EQ(std::to_string(oDaemon.pid()) + "\n", readFile(m_oSandbox.pidFile()));
    EXPECT_EQ("", oDaemon.output());
    oDaemon.signal(SIGTERM);
    EXPECT_EQ(0, oDaemon.wait());
}

TEST_F(CommandLine, VerboseShowsEveryLevel)
{
    start({"-v"});
    EXPECT_EQ("1023", client().cell("ConfigmanagerLogging", 1, "ConfigService"));
    EXPECT_EQ(m_oSandbox.path("tmp/db"), daemon().output().substr(15, m_oSandbox.path("tmp/db").size()));
    stop();
    start();
    EXPECT_EQ("113", client().cell("ConfigmanagerLogging", 1, "ConfigService"));
}

} // namespace
} // namespace e2e
