// The one daemon of its PID file and of its databases, for as long as it lives.
//
// Made by main before any thread; main thread only. Another daemon in its place ends the process with status
// 1, before anything is touched.
#pragma once

#include "server/options.h"
#include "storage/directorylock.h"
#include "zel/daemon.h"

#include <optional>
#include <string>

namespace zel::cfg {

/// Says why the daemon does not start. With -b the log goes to syslog, so the terminal is told here; once in
/// the background it is /dev/null.
void reportToStarter(const Options& a_oOptions, const std::string& a_sText);

class Instance
{
public:
    /// Locks the databases, goes to the background with -b, and makes the PID file. Throws std::system_error
    /// when the databases cannot be locked, or the background not be reached.
    Instance(const char* a_pProgram, const Options& a_oOptions, int a_iModule);
    ~Instance();
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    /// With -b: what was started ends now, with status 0.
    void reportStart();

private:
    [[noreturn]] void exitSecond(const Options& a_oOptions) const;
    void lockDatabases(const Options& a_oOptions);

    const int m_iModule;
    std::optional<systema::DirectoryLock> m_oDatabases;
    ZEL_Daemon m_oDaemon;
};

} // namespace zel::cfg
