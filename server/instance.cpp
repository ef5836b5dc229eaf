#include "server/instance.h"

#include "zel/log.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <system_error>

namespace zel::cfg {

void reportToStarter(const Options& a_oOptions, const std::string& a_sText)
{
    if (a_oOptions.m_bBackground) {
        std::cerr << a_sText << std::endl;
    }
}

Instance::Instance(const char* a_pProgram, const Options& a_oOptions, int a_iModule)
    : m_iModule(a_iModule),
      m_oDaemon(ZEL_Daemon_construct(a_pProgram, a_oOptions.m_sPidPath))
{
    if (ZEL_Daemon_occupiedPidFile(m_oDaemon)) {
        exitSecond(a_oOptions);
    }
    lockDatabases(a_oOptions);
    if (a_oOptions.m_bBackground && !ZEL_Daemon_daemonize(m_oDaemon)) {
        throw std::system_error(errno, std::generic_category(), "Could not daemonize");
    }
    if (!ZEL_Daemon_createPidFile(m_oDaemon)) {
        if (errno == EEXIST) {
            exitSecond(a_oOptions); // started at the same moment, and was quicker
        }
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "Could not create PID file %s: %s",
                              m_oDaemon.m_sPidFile.c_str(), std::strerror(errno));
    }
}

Instance::~Instance()
{
    ZEL_Daemon_deletePidFile(m_oDaemon);
}

void Instance::reportStart()
{
    ZEL_Daemon_reportStart(m_oDaemon);
}

void Instance::exitSecond(const Options& a_oOptions) const
{
    std::ostringstream oText;
    oText << "Another process is already running. Exiting..." << std::endl;
    ZEL_Sysloglevel_error(m_iModule, {"main", 361}, "%s", oText.str().c_str());
    reportToStarter(a_oOptions,
                    "ledgerd already runs with PID " + std::to_string(ZEL_Daemon_readPid(m_oDaemon)));
    std::exit(EXIT_FAILURE);
}

void Instance::lockDatabases(const Options& a_oOptions)
{
    const std::string& sPath = a_oOptions.m_sDatabasePath;
    try {
        m_oDatabases.emplace(sPath);
    } catch (const std::system_error& oError) {
        if (oError.code().value() != EWOULDBLOCK) {
            throw;
        }
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "Another process uses the databases in %s. Exiting...",
                              sPath.c_str());
        reportToStarter(a_oOptions, "ledgerd: another process uses the databases in " + sPath);
        std::exit(EXIT_FAILURE);
    }
}

} // namespace zel::cfg
