// Sees the daemon write its dumps, which it does one after another, always in the same order, and in place: a
// file that is there says nothing of its age, and may be half written.
//
// Owned by the command that waits for dumps. Without a directory to watch it sees nothing.
#pragma once

#include "zel/uniquefd.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <sys/inotify.h>
#include <vector>

namespace systema::cli {

class DumpWatch
{
public:
    using Clock = std::chrono::steady_clock;

    /// The names of the dumps, in the order in which they are written.
    DumpWatch(const std::string& a_sDirectory, std::vector<std::string> a_lDumps);

    /// False, with errno, when the directory cannot be watched.
    bool ok() const { return m_bWatches; }
    /// Waits until all dumps were written, from the first on, since the watch began and, when called again,
    /// until they were written to once more. False when the deadline passes before.
    bool waitForDumps(Clock::time_point a_oDeadline);
    /// Whether a dump was written to since they were waited for.
    bool touched();

private:
    void readEvents();
    void take(const inotify_event& a_oEvent);

    const std::vector<std::string> m_lDumps;
    const zel::UniqueFd m_oInotify;
    const bool m_bWatches;
    std::size_t m_iWritten = 0; // so many of the dumps, counted from the first, are written
    bool m_bTouched = false;
};

} // namespace systema::cli
