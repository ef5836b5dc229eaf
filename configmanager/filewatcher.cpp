#include "configmanager/filewatcher.h"

#include "zel/inotifyevents.h"
#include "zel/log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <sys/ioctl.h>
#include <utility>

namespace configmanager::serverlib {

namespace {

constexpr std::uint32_t c_iEvents = IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF;

} // namespace

FileWatcher::FileWatcher()
    : m_iModule(ZEL_Sysloglevel_registerModul("FileWatch")),
      m_oInotify(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    if (!m_oInotify) {
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "No file can be watched: %s", std::strerror(errno));
    }
}

void FileWatcher::watch(const std::string& a_sPath)
{
    if (m_oInotify && !m_mPaths.contains(a_sPath)) {
        m_mPaths.emplace(a_sPath, Path{bind(a_sPath)});
    }
}

void FileWatcher::doCheck()
{
    if (m_mPaths.empty()) {
        return;
    }
    readEvents();
    // The kernel never gives the number of a watch again: the same number is the same file all along.
    for (auto& [sPath, oPath] : m_mPaths) {
        const int iBefore = std::exchange(oPath.m_iWatch, bind(sPath));
        if (oPath.m_iWatch != iBefore) {
            oPath.m_iEvents |= oPath.m_iWatch < 0 ? IN_DELETE_SELF : IN_CREATE;
            release(iBefore);
        }
    }
}

std::uint32_t FileWatcher::takeEvents(const std::string& a_sPath)
{
    const auto it = m_mPaths.find(a_sPath);
    return it == m_mPaths.end() ? 0 : std::exchange(it->second.m_iEvents, 0);
}

/// Reads no more than is there now: a busy writer must not keep the reader for ever.
void FileWatcher::readEvents()
{
    // Room for one event at least, with the name that those of a directory have.
    alignas(inotify_event) std::array<char, 64 * (sizeof(inotify_event) + NAME_MAX + 1)> aBuffer;
    int iQueued = 0;
    ::ioctl(m_oInotify.get(), FIONREAD, &iQueued);
    while (iQueued > 0) {
        const ssize_t iSize = ::read(m_oInotify.get(), aBuffer.data(), aBuffer.size());
        if (iSize <= 0) {
            return;
        }
        iQueued -= static_cast<int>(iSize);
        zel::forEachInotifyEvent(aBuffer.data(), iSize, [this](const inotify_event& a_oEvent) {
            const bool bLost = (a_oEvent.mask & IN_Q_OVERFLOW) != 0;
            for (auto& [sPath, oPath] : m_mPaths) {
                if (bLost || oPath.m_iWatch == a_oEvent.wd) {
                    oPath.m_iEvents |= bLost ? IN_CREATE : a_oEvent.mask & c_iEvents;
                }
            }
        });
    }
}

/// The watch of the file that the path leads to now, the one it has if it is watched already; -1 without.
int FileWatcher::bind(const std::string& a_sPath)
{
    const int iWatch = ::inotify_add_watch(m_oInotify.get(), a_sPath.c_str(), c_iEvents);
    const bool bAbsent = errno == ENOENT || errno == ENOTDIR || errno == EACCES;
    if (iWatch < 0 && !bAbsent && !std::exchange(m_bFailureLogged, true)) {
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "Cannot watch %s: %s", a_sPath.c_str(),
                              std::strerror(errno));
    }
    return iWatch;
}

/// Ends a watch that no path has any more; the kernel may have ended it already.
void FileWatcher::release(int a_iWatch)
{
    const bool bShared = std::ranges::any_of(
        m_mPaths, [&](const auto& a_oEntry) { return a_oEntry.second.m_iWatch == a_iWatch; });
    if (a_iWatch >= 0 && !bShared) {
        ::inotify_rm_watch(m_oInotify.get(), a_iWatch);
    }
}

} // namespace configmanager::serverlib
