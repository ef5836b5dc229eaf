// Daemon and PID file. Functions over one object that main constructs once; main thread only.
//
// Who runs holds a write lock (F_OFD_SETLK) on its open PID file. The lock ends with the process, however
// that ends, and no other process that has got its id since is taken for it. It is not flock(), which anybody
// who may read the file could hold for ever; a write lock takes a descriptor that may write.
#pragma once

#include "zel/uniquefd.h"

#include <string>
#include <sys/types.h>

/// The daemon's name and the directory of its PID file, "<path>/<name>.pid".
struct ZEL_Daemon
{
    std::string m_sName;
    std::string m_sPidFile;
    zel::UniqueFd m_oPidFile{}; // open and locked from its creation on
    zel::UniqueFd m_oStarter{}; // while the process that was started waits for word
};

ZEL_Daemon ZEL_Daemon_construct(const char* a_pName, const std::string& a_sPidPath);

/// True when another live process holds the PID file. What it says does not matter; a file that cannot be
/// opened counts as not occupied. Nothing is changed.
bool ZEL_Daemon_occupiedPidFile(const ZEL_Daemon& a_oDaemon);

/// Detaches from terminal and session: the child of the calling process goes on, with "/" as directory and
/// /dev/null as standard input and output. The calling process waits until the child reports its start, and
/// exits with status 0, or with 1 when the child has ended first. Until then the child can write the reason
/// to standard error; of a child that a signal has ended the calling process says so. False (with errno) when
/// it failed.
bool ZEL_Daemon_daemonize(ZEL_Daemon& a_oDaemon);

/// Ends the process that waits for the start, and discards standard error. Does nothing in the foreground.
void ZEL_Daemon_reportStart(ZEL_Daemon& a_oDaemon);

/// Makes the PID file, with the caller's process id, a newline and mode 0644, and holds it. What was left
/// under its name is replaced at once: never through a link, and nobody sees half of it or none. False (with
/// errno) on failure; with EEXIST when another live process holds it.
bool ZEL_Daemon_createPidFile(ZEL_Daemon& a_oDaemon);

/// Removes the PID file that was created, and lets go of it. A file that is not ours stays. False (with
/// errno) when ours could not be removed.
bool ZEL_Daemon_deletePidFile(ZEL_Daemon& a_oDaemon);

/// The process id that the PID file holds, 0 when it holds none.
pid_t ZEL_Daemon_readPid(const ZEL_Daemon& a_oDaemon);

/// True when the PID file names a live process: for daemons of others, which hold no lock. A file that holds
/// no process id, or cannot be read, names none.
bool ZEL_Daemon_namesProcess(const ZEL_Daemon& a_oDaemon);
