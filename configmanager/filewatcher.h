// Tells which files were written, created, replaced or deleted since they were last asked about.
//
// Main thread only; doCheck never waits. One inotify descriptor serves all files. No directory is watched:
// each check looks where every path leads now, so that a file is followed however it comes and goes, through
// symbolic links too. Without inotify nothing is ever told; that, and the first path that cannot be watched
// though it is there, is logged.
#pragma once

#include "zel/uniquefd.h"

#include <cstdint>
#include <map>
#include <string>

namespace configmanager::serverlib {

class FileWatcher
{
public:
    FileWatcher();

    /// Watches the path from now on. It need not exist.
    void watch(const std::string& a_sPath);
    /// Takes over what happened to the watched paths since the last check.
    void doCheck();
    /// What the checks found for the path since this was last asked, 0 for nothing: any of IN_CLOSE_WRITE;
    /// IN_MOVE_SELF; IN_DELETE_SELF when it leads to no file; IN_CREATE when it leads to another file than
    /// before, or events were lost.
    std::uint32_t takeEvents(const std::string& a_sPath);

private:
    struct Path
    {
        int m_iWatch; // shared by all paths to one file; -1 without a file
        std::uint32_t m_iEvents = 0;
    };

    void readEvents();
    int bind(const std::string& a_sPath);
    void release(int a_iWatch);

    const int m_iModule;
    const zel::UniqueFd m_oInotify;
    std::map<std::string, Path> m_mPaths;
    bool m_bFailureLogged = false;
};

} // namespace configmanager::serverlib
