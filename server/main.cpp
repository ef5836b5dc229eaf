// ledgerd: the spine of the daemon. Everything is constructed and wired here, and nowhere else.

#include "configmanager/configservicemanager.h"
#include "configmanager/event.h"
#include "configmanager/logplugin.h"
#include "dbus/systembus.h"
#include "plugins/configserverconfigplugin.h"
#include "plugins/deviceinfoplugin.h"
#include "plugins/systemtime.h"
#include "plugins/tableviewplugin.h"
#include "plugins/tzplugin.h"
#include "server/fifohandler.h"
#include "server/flashbackuphook.h"
#include "server/flashthread.h"
#include "server/instance.h"
#include "server/mainloop.h"
#include "server/options.h"
#include "server/signals.h"
#include "server/sqlitedump.h"
#include "server/unsavedmark.h"
#include "status/statusinfoplugin.h"
#include "storage/databasefiles.h"
#include "storage/databaselimit.h"
#include "storage/sqliteplugin.h"
#include "systema/configdispatcher.h"
#include "systema/eventdispatcher.h"
#include "systema/unixsocketserver.h"
#include "zel/assert.h"
#include "zel/execute.h"
#include "zel/log.h"
#include "zel/memory.h"
#include "zel/standardfiles.h"
#include "zel/stopflag.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <iterator>
#include <list>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/stat.h>
#include <utility>

namespace {

using configmanager::serverlib::Event;
using configmanager::serverlib::ServerEvents;
using systema::ConfigDispatcher;
using zel::cfg::FlashThread;
using zel::cfg::MainLoop;
using zel::cfg::Options;
using zel::cfg::PersistScript;
using zel::cfg::SqliteDump;

constexpr const char* c_pProgram = "ledgerd";

constexpr unsigned c_iFairness = 40;
constexpr int c_iBacklog = 10;
constexpr mode_t c_iSocketMode = 0666;
constexpr rlim_t c_iDescriptors = 4096;

int s_iModule = 0;

/// Room for every connection that the service manager admits, and for our own files.
void raiseDescriptorLimit()
{
    rlimit oLimit{};
    if (::getrlimit(RLIMIT_NOFILE, &oLimit) == 0 && oLimit.rlim_cur < c_iDescriptors) {
        oLimit.rlim_cur = std::min(c_iDescriptors, oLimit.rlim_max);
        ::setrlimit(RLIMIT_NOFILE, &oLimit);
    }
}

/// Tells the log, with -v, when a part of the daemon begins to be made and when it is gone: a start or a stop
/// that hangs shows where.
class Lifetime
{
public:
    explicit Lifetime(const char* a_pPart) : m_pPart(a_pPart)
    {
        ZEL_Sysloglevel_debug(s_iModule, zel::here(), "start: %s", m_pPart);
    }
    ~Lifetime() { ZEL_Sysloglevel_debug(s_iModule, zel::here(), "gone: %s", m_pPart); }
    Lifetime(const Lifetime&) = delete;
    Lifetime& operator=(const Lifetime&) = delete;

private:
    const char* const m_pPart;
};

/// A part of the daemon, with its name in the log.
template<class Type>
class Part
{
public:
    template<class... Arguments>
    explicit Part(const char* a_pName, Arguments&&... a_oArguments)
        : m_oLifetime(a_pName),
          m_oPart(std::forward<Arguments>(a_oArguments)...)
    {
    }

    Type& operator*() { return m_oPart; }
    Type* operator->() { return &m_oPart; }

private:
    const Lifetime m_oLifetime; // outlives the part
    Type m_oPart;
};

/// A plugin, which serves its tables as soon as it is made.
template<class Plugin>
class PluginPart : public Part<Plugin>
{
public:
    template<class... Arguments>
    explicit PluginPart(Arguments&&... a_oArguments) : Part<Plugin>(std::forward<Arguments>(a_oArguments)...)
    {
        ConfigDispatcher::instance().attachTables(**this);
    }
};

/// The plugins of the database files, destroyed in reverse order.
class Databases
{
public:
    /// Throws std::runtime_error when there is no database at all: the device was not restored, and a daemon
    /// without a stored table would look like one that works. One that is missing among others is only
    /// logged.
    Databases(const std::string& a_sPath, const systema::StoreConfiguration& a_oStore)
    {
        checkPresence(a_sPath);
        const auto iLimit = systema::findDatabaseLimit(a_oStore, a_sPath);
        for (const auto& oFile : systema::c_aDatabaseFiles) {
            m_lPlugins.emplace_back(oFile.m_pName, a_sPath, oFile.m_pName, oFile.m_bUseTransactions,
                                    oFile.m_bPersistent, oFile.m_bExclusive, iLimit);
        }
    }

    ~Databases()
    {
        while (!m_lPlugins.empty()) {
            m_lPlugins.pop_back();
        }
    }

    Databases(const Databases&) = delete;
    Databases& operator=(const Databases&) = delete;

    void registerWith(SqliteDump& a_oDump)
    {
        for (auto& oPlugin : m_lPlugins) {
            a_oDump.addPlugin(&*oPlugin);
        }
    }

private:
    static void checkPresence(const std::string& a_sPath)
    {
        const auto lMissing = systema::findMissingDatabases(a_sPath);
        if (lMissing.size() == std::size(systema::c_aDatabaseFiles)) {
            throw std::runtime_error("There is no database in " + a_sPath +
                                     ": ledger-restore has to run first");
        }
        std::string sNames;
        for (const auto& sName : lMissing) {
            sNames += (sNames.empty() ? "" : ", ") + sName;
        }
        if (!sNames.empty()) {
            ZEL_Sysloglevel_error(s_iModule, zel::here(),
                                  "Not in %s: %s; their tables are missing until ledgerd is stopped and "
                                  "\"ledger-restore --keep\" has run",
                                  a_sPath.c_str(), sNames.c_str());
        }
    }

    std::list<PluginPart<systema::SqlitePlugin>> m_lPlugins;
};

/// Builds the daemon, tells when clients can connect, runs it until a termination signal and takes it apart.
/// What is declared later is destroyed earlier; the order of the declarations is the order of the start.
void run(const Options& a_oOptions, FlashThread& a_oFlashThread, const std::function<void()>& a_oStarted)
{
    auto& oDispatcher = ConfigDispatcher::instance();
    oDispatcher.setVerbose(a_oOptions.m_bVerbose);

    PluginPart<configmanager::logplugin::LogPlugin> oLogPlugin("log");
    Databases oDatabases(a_oOptions.m_sDatabasePath, a_oOptions.m_oStore);
    const PluginPart<zel::DeviceInfoPlugin> oDeviceInfo("device information", oDispatcher);

    Part<Event<void(ServerEvents)>> oServerEvents("server events");
    Part<zel::SystemBus> oBus("system bus");

    PluginPart<zel::StatusInfoPlugin> oStatusInfo("status information", a_oOptions.m_lMapFiles, *oBus,
                                                  a_oOptions.m_bVerbose, &*oLogPlugin);
    oServerEvents->on(ServerEvents::Shutdown, [&] {
        oStatusInfo->shutdown();
        oBus->close();
    });

    const PluginPart<zel::TableViewPlugin> oViews("table views", oDispatcher, a_oOptions.m_bVerbose);
    const PluginPart<zel::TzPlugin> oTimeZone("time zone");
    const PluginPart<zel::SystemTime> oSystemTime("system time");
    const PluginPart<zel::cfg::ConfigServerConfigPlugin> oServerSettings("server settings", oDispatcher);

    Part<SqliteDump> oDump("dump", a_oOptions.m_sDumpPath.c_str(), a_oOptions.m_sDatabasePath.c_str(),
                           a_oOptions.m_bVerbose);
    oDatabases.registerWith(*oDump);
    Part<zel::cfg::FlashBackupHook> oHook("persistence hook", *oDump, a_oFlashThread, s_iModule);
    Part<PersistScript> oPersistScript("persistence trigger", *oHook, a_oOptions.m_iFlashWaitSeconds,
                                       PersistScript::c_ePersistDefault);

    const zel::cfg::UnsavedMark oUnsaved(a_oOptions.m_sDatabasePath, s_iModule);
    if (oUnsaved.wasFound()) {
        oPersistScript->markChanged();
    }

    Part<systema::net::EventDispatcher> oEvents("event dispatcher");
    Part<zel::cfg::ConfigServiceManager> oServiceManager("service manager", *oEvents, c_iFairness,
                                                         &*oLogPlugin);
    oDispatcher.initialize();

    const Part<zel::cfg::FifoHandler> oFifoHandler("FIFO", *oEvents, *oDump, *oPersistScript,
                                                   a_oOptions.m_sFifoFile);

    MainLoop oLoop(*oEvents, oDispatcher, *oPersistScript, &zel::isStopRequested);
    {
        Part<systema::net::UnixSocketServer> oServer("socket");
        const Part<systema::net::UnixSocketAcceptor> oAcceptor("acceptor", *oServer, *oEvents,
                                                               *oServiceManager);
        oServer->bind(a_oOptions.m_sSocketFile, c_iSocketMode);
        oServer->listen(c_iBacklog);
        a_oStarted();

        ZEL_Sysloglevel_info(s_iModule, {"main", 512}, "run: started and running");
        oLoop.run();
    }
    if (const int iSignal = zel::cfg::getEndSignal(); iSignal != 0) {
        ZEL_Sysloglevel_error(s_iModule, zel::here(), "Signal %d (%s) ends the daemon", iSignal,
                              ::strsignal(iSignal));
    }
    oServiceManager->closeConnections(); // or clients would wait for an answer while the last save runs
    oServerEvents->emit(ServerEvents::Shutdown);
    oPersistScript->process(true);
    if (!oPersistScript->isUnsaved()) {
        oUnsaved.remove();
    }
    oDispatcher.setPersistScript(nullptr);
    ZEL_Sysloglevel_info(s_iModule, {"main", 573}, "main: exiting");
}

/// In the background the working directory is "/".
void makeAbsolute(Options& a_oOptions)
{
    for (std::string* pPath : {&a_oOptions.m_sDatabasePath, &a_oOptions.m_sSocketFile,
                               &a_oOptions.m_sFifoFile, &a_oOptions.m_sPidPath, &a_oOptions.m_sDumpPath}) {
        *pPath = std::filesystem::absolute(*pPath);
    }
}

/// Throws for a path that no dump can be made with. What may still become right, or has a default, is logged.
void checkDirectories(const Options& a_oOptions)
{
    for (const std::string& sPath : {a_oOptions.m_sDatabasePath, a_oOptions.m_sDumpPath}) {
        if (!systema::isPlainPath(sPath)) {
            throw std::runtime_error(
                std::string("a directory of databases or dumps may have letters, digits and ") +
                systema::c_pPathCharacters + ": " + sPath);
        }
    }
    SqliteDump::checkPath(a_oOptions.m_sDumpPath);
    for (const auto& oFault : a_oOptions.m_oStore.faults()) {
        ZEL_Sysloglevel_error(s_iModule, zel::here(), "%s", oFault.m_sText.c_str());
    }
    // Another process looks: on a dead mount we would wait for ever.
    const std::string sLook = "[ -d " + a_oOptions.m_sDumpPath + " ]";
    char aOutput[1] = "";
    if (ZEL_Execute_Command(sLook.c_str(), aOutput, sizeof aOutput, std::chrono::seconds(1)) != 0) {
        ZEL_Sysloglevel_error(s_iModule, zel::here(),
                              "There is no dump directory %s: nothing is saved until it is made",
                              a_oOptions.m_sDumpPath.c_str());
    }
    // Whatever it says in the configuration, the save command takes the dumps that we make.
    ::setenv("LEDGERD_DUMP_DIRECTORY", std::filesystem::absolute(a_oOptions.m_sDumpPath).c_str(), 1);
}

/// Calls a function; what it throws is logged and goes no further. False when it threw.
template<class Function>
bool guard(const Options& a_oOptions, Function a_oFunction)
{
    try {
        a_oFunction();
        return true;
    } catch (const std::exception& oException) {
        ZEL_Sysloglevel_error(s_iModule, {"main", 577}, "%s", oException.what());
        zel::cfg::reportToStarter(a_oOptions, std::string("ledgerd: ") + oException.what());
    } catch (...) {
        ZEL_Sysloglevel_error(s_iModule, {"main", 582}, "Unknown exception");
    }
    return false;
}

} // namespace

int main(int a_iArgc, char* a_pArgv[])
{
    zel::error::DefaultAssertHook oAssertHook;
    zel::openStandardFiles();
    ZEL_Sysloglevel_construct2(c_pProgram);
    s_iModule = ZEL_Sysloglevel_registerModul(c_pProgram);

    Options oOptions;
    if (const auto oStatus = zel::cfg::parseOptions(oOptions, a_iArgc, a_pArgv)) {
        return *oStatus;
    }
    if (oOptions.m_bBackground) {
        makeAbsolute(oOptions);
    }
    const int iLevel = oOptions.m_bVerbose ? zel::c_iTraceLevelVerbose : zel::c_iTraceLevelNormal;
    ZEL_Sysloglevel_setDefaultTracelevel(iLevel);
    s_iModule = ZEL_Sysloglevel_registerModul(c_pProgram);
    ZEL_Sysloglevel_changeTracelevel(c_pProgram, iLevel);
    ZEL_Sysloglevel_set(oOptions.m_bBackground);
    oAssertHook.setSyslog(oOptions.m_bBackground);
    // Databases and dumps hold passwords. What others may use gets its mode when it is made.
    ::umask(S_IRWXG | S_IRWXO);

    bool bEnded = false;
    guard(oOptions, [&] {
        checkDirectories(oOptions);
        systema::net::UnixSocketServer::checkPath(oOptions.m_sSocketFile);
        zel::cfg::Instance oInstance(c_pProgram, oOptions, s_iModule);
        raiseDescriptorLimit();
        zel::cfg::installSignalHandlers(s_iModule);
        zel::watchMemory();
        Part<FlashThread> oFlashThread("flash thread", s_iModule);
        bEnded = guard(oOptions, [&] { run(oOptions, *oFlashThread, [&] { oInstance.reportStart(); }); });
    });
    zel::cfg::raiseEndSignal();
    if (!bEnded) {
        return EXIT_FAILURE; // what started it is to start it again
    }
    return EXIT_SUCCESS; // also ends a thread that waits for a file on a dead mount
}
