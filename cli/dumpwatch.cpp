#include "cli/dumpwatch.h"

#include "zel/inotifyevents.h"

#include <algorithm>
#include <cstdint>
#include <poll.h>
#include <utility>

namespace systema::cli {

DumpWatch::DumpWatch(const std::string& a_sDirectory, std::vector<std::string> a_lDumps)
    : m_lDumps(std::move(a_lDumps)),
      m_oInotify(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      m_bWatches(::inotify_add_watch(m_oInotify.get(), a_sDirectory.c_str(),
                                     IN_MODIFY | IN_CLOSE_WRITE | IN_ONLYDIR) >= 0)
{
}

bool DumpWatch::waitForDumps(Clock::time_point a_oDeadline)
{
    using std::chrono::milliseconds;
    for (;;) {
        readEvents();
        if (m_bTouched && m_iWritten == m_lDumps.size()) {
            m_bTouched = false;
            return true;
        }
        const auto oLeft = std::chrono::ceil<milliseconds>(a_oDeadline - Clock::now());
        if (oLeft <= milliseconds(0)) {
            return false;
        }
        pollfd oPoll{m_oInotify.get(), POLLIN, 0};
        ::poll(&oPoll, 1, static_cast<int>(std::min<milliseconds>(oLeft, std::chrono::hours(1)).count()));
    }
}

bool DumpWatch::touched()
{
    readEvents();
    return m_bTouched;
}

void DumpWatch::readEvents()
{
    alignas(inotify_event) char aEvents[4096];
    for (ssize_t iSize; (iSize = ::read(m_oInotify.get(), aEvents, sizeof aEvents)) > 0;) {
        zel::forEachInotifyEvent(aEvents, iSize, [this](const inotify_event& a_oEvent) { take(a_oEvent); });
    }
}

void DumpWatch::take(const inotify_event& a_oEvent)
{
    if ((a_oEvent.mask & IN_Q_OVERFLOW) != 0) {
        m_bTouched = true;
        m_iWritten = 0;
    }
    const auto it =
        a_oEvent.len > 0 ? std::ranges::find(m_lDumps, std::string(a_oEvent.name)) : m_lDumps.end();
    if (it == m_lDumps.end()) {
        return;
    }
    const auto iDump = static_cast<std::size_t>(it - m_lDumps.begin());
    m_bTouched = true;
    if ((a_oEvent.mask & IN_MODIFY) != 0) { // what comes behind it in the order will be written again
        m_iWritten = std::min(m_iWritten, iDump);
    } else if (iDump == m_iWritten) {
        ++m_iWritten;
    }
}

} // namespace systema::cli
