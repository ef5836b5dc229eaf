// Daemon and PID file. Functions over one object that main constructs once; main thread only.
#pragma once

#include <string>

/// The daemon's name and the directory of its PID file, "<path>/<name>.pid".
struct ZEL_Daemon
{
    std::string m_sName;
    std::string m_sPidFile;
};

ZEL_Daemon ZEL_Daemon_construct(const char* a_pName, const std::string& a_sPidPath);

/// True when the PID file names a live process other than the caller. A file that holds no process id,
/// or cannot be read, counts as not occupied.
bool ZEL_Daemon_occupiedPidFile(const ZEL_Daemon& a_oDaemon);

/// Detaches from terminal and session: the calling process ends with status 0 and its child goes on, with
/// "/" as directory and /dev/null as standard input, output and error. False (with errno) when it failed.
bool ZEL_Daemon_daemonize(ZEL_Daemon& a_oDaemon);

/// Removes the PID file. False (with errno) when there is one and it could not be removed.
bool ZEL_Daemon_deletePidFile(const ZEL_Daemon& a_oDaemon);

/// Writes the caller's process id and a newline to a new PID file with mode 0644, never through a link
/// and never half: the file appears under its name only when it is complete. False (with errno) on failure.
bool ZEL_Daemon_createPidFile(const ZEL_Daemon& a_oDaemon);
