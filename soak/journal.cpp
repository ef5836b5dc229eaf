#include "soak/journal.h"

#include <cstdio>
#include <utility>

namespace soak {

namespace {

constexpr auto c_oKept = std::chrono::seconds(60);
constexpr auto c_oEcho =
    std::chrono::milliseconds(1500); // for so long a moment may be the cause of something

long long milliseconds(Clock::duration a_oTime)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(a_oTime).count();
}

} // namespace

std::list<Journal::Record>::iterator Journal::begin(std::string a_sWhat)
{
    const std::lock_guard oGuard(m_oMutex);
    const auto oNow = Clock::now();
    while (!m_lRecords.empty() && m_lRecords.front().m_oEnd && *m_lRecords.front().m_oEnd < oNow - c_oKept) {
        m_lRecords.pop_front();
    }
    return m_lRecords.insert(m_lRecords.end(), Record{std::move(a_sWhat), oNow});
}

void Journal::note(std::string a_sWhat)
{
    const auto it = begin(std::move(a_sWhat));
    it->m_bEcho = true;
    end(it);
}

void Journal::end(std::list<Record>::iterator a_it)
{
    const std::lock_guard oGuard(m_oMutex);
    a_it->m_oEnd = Clock::now();
}

std::vector<std::string> Journal::during(Clock::time_point a_oStart, Clock::time_point a_oEnd) const
{
    const std::lock_guard oGuard(m_oMutex);
    std::vector<std::string> lLines;
    for (const auto& oRecord : m_lRecords) {
        const auto oTook = oRecord.m_oEnd.value_or(a_oEnd) - oRecord.m_oStart;
        const auto oLasted = oRecord.m_oStart + (oRecord.m_bEcho ? c_oEcho : oTook);
        if (oRecord.m_oStart <= a_oEnd && oLasted >= a_oStart) {
            char aTimes[64];
            std::snprintf(aTimes, sizeof aTimes,
                          "%+5lld ms, %4lld ms long: ", milliseconds(oRecord.m_oStart - a_oStart),
                          milliseconds(oTook));
            lLines.push_back(aTimes + oRecord.m_sWhat);
        }
    }
    return lLines;
}

} // namespace soak
