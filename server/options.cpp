#include "server/options.h"

#include "server/waitseconds.h"
#include "zel/systempath.h"

#include <cstdlib>
#include <getopt.h>
#include <iostream>
#include <string_view>

namespace zel::cfg {

namespace {

constexpr const char* c_pDatabasePath = "/tmp/db";
constexpr const char* c_pSocketFile = "/tmp/ledgerd.socket";
constexpr const char* c_pFifoFile = "/tmp/ledgerd.fifo";
constexpr const char* c_pPidPath = "/var/run";
constexpr const char* c_pDumpPath = "/flash/sql";

constexpr const char* c_pShortOptions = "hvbd:s:f:p:t:x:m:V";
constexpr option c_aLongOptions[] = {
    {"help", no_argument, nullptr, 'h'},
    {"background", no_argument, nullptr, 'b'},
    {"verbose", no_argument, nullptr, 'v'},
    {"database-path", required_argument, nullptr, 'd'},
    {"socket-file", required_argument, nullptr, 's'},
    {"fifo-file", required_argument, nullptr, 'f'},
    {"pid-file", required_argument, nullptr, 'p'},
    {"flash-time", required_argument, nullptr, 't'},
    {"dump-path", required_argument, nullptr, 'x'},
    {"map-file", required_argument, nullptr, 'm'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

void printUsage()
{
    std::cerr << "Usage: ledgerd [options]\n"
              << " Options:\n"
              << "  -h, --help\t\t\t\tPrint this help\n"
              << "  -b, --background\t\t\tStart as daemon instead of starting in foreground\n"
              << "  -v, --verbose\t\t\t\tEnable verbose output\n"
              << "  -d, --database-path <filepath>\tPath to database files (default: " << c_pDatabasePath
              << ")\n"
              << "  -s, --socket-file <filename>\t\tUnix socket file (default: " << c_pSocketFile << ")\n"
              << "  -f, --fifo-file <filename>\t\tFIFO file (default: " << c_pFifoFile << ")\n"
              << "  -p, --pid-file <filepath>\t\tPID file path (default: " << c_pPidPath << ")\n"
              << "  -x, --dump-path <path>\t\tpath for SQL dump files (default: " << c_pDumpPath << ")\n"
              << "  -t, --flash-time <flash wait time>\tWait time for flash backup (default: 10 sec / 0 for"
                 " disabling)\n"
              << "  -m, --map-file <filepath>\t\tThe absolute path to an file to be mapped into"
                 " configmanager\n"
              << "  -V, --version\t\t\t\tOutput version information and exit\n";
}

void take(std::string& a_sSetting, const char* a_pLabel)
{
    a_sSetting = optarg;
    std::cout << a_pLabel << a_sSetting << '\n';
}

/// The last line says what is wrong: usage, where it is printed, would hide it.
int refuse(const std::string& a_sReason)
{
    std::cout.flush();
    std::cerr << "ledgerd: " << a_sReason << '\n';
    return EXIT_FAILURE;
}

} // namespace

std::optional<int> parseOptions(Options& a_oOptions, int a_iArgc, char* a_pArgv[])
{
    a_oOptions.m_sDatabasePath = a_oOptions.m_oStore.directory(systema::StoreConfiguration::c_pDatabases);
    a_oOptions.m_sSocketFile = systemPath(c_pSocketFile);
    a_oOptions.m_sFifoFile = systemPath(c_pFifoFile);
    a_oOptions.m_sPidPath = systemPath(c_pPidPath);
    a_oOptions.m_sDumpPath = a_oOptions.m_oStore.directory(systema::StoreConfiguration::c_pDumps);

    for (int iOption = 0; iOption != -1;) {
        const std::string sWord =
            optind < a_iArgc ? a_pArgv[optind] : ""; // the next option, or several letters
        iOption = getopt_long(a_iArgc, a_pArgv, c_pShortOptions, c_aLongOptions, nullptr);
        if (optarg != nullptr && *optarg == '\0') { // a script's variable that is not set
            return refuse("the argument of \"" + sWord + "\" is empty");
        }
        switch (iOption) {
        case -1:
            break;
        case 'd':
            take(a_oOptions.m_sDatabasePath, "Database path: ");
            break;
        case 's':
            take(a_oOptions.m_sSocketFile, "Unix socket file: ");
            break;
        case 'f':
            take(a_oOptions.m_sFifoFile, "FIFO file: ");
            break;
        case 'p':
            take(a_oOptions.m_sPidPath, "PID file path: ");
            break;
        case 'x':
            take(a_oOptions.m_sDumpPath, "Dump path: ");
            break;
        case 't':
            if (const auto oSeconds = parseWaitSeconds(optarg)) {
                a_oOptions.m_iFlashWaitSeconds = *oSeconds;
            } else {
                return refuse("the flash wait time \"" + std::string(optarg) + "\" is not a number of 0 to " +
                              std::to_string(c_iLongestWaitSeconds));
            }
            std::cout << "Flash wait time: " << a_oOptions.m_iFlashWaitSeconds << '\n';
            break;
        case 'b':
            a_oOptions.m_bBackground = true;
            break;
        case 'v':
            a_oOptions.m_bVerbose = true;
            break;
        case 'm':
            a_oOptions.m_lMapFiles.emplace_back(optarg);
            break;
        case 'V':
            std::cout << LEDGERD_VERSION << '\n';
            return EXIT_SUCCESS;
        case 'h':
            printUsage();
            return EXIT_SUCCESS;
        default:
            // The number and not the character: '?' shows as 63. The last line has the option typed.
            std::cerr << "Unknown option: " << iOption << '\n';
            printUsage();
            return refuse("\"" + sWord + "\" is no option, or its argument is missing or one too many");
        }
    }
    if (optind < a_iArgc) {
        return refuse("\"" + std::string(a_pArgv[optind]) + "\" is no option; see ledgerd --help");
    }
    std::cout.flush();
    return {};
}

} // namespace zel::cfg
