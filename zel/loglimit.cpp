#include "zel/loglimit.h"

namespace zel {

namespace {

constexpr std::string_view c_sSeparator = "; ";

} // namespace

void LogLimit::Entry::count(const LogLine& a_oLine)
{
    ++m_iMore;
    m_iPriority = a_oLine.m_iPriority;
    m_sLevel = a_oLine.m_sLevel;
    const std::string_view sText = decltype(m_oTexts)::cut(a_oLine.m_sText);
    if (m_oTexts.get().empty()) {
        m_oTexts.add(sText);
    } else if (m_oTexts.get().find(sText) == std::string_view::npos) {
        m_bOthers = m_bOthers || m_oTexts.room() < c_sSeparator.size() + sText.size();
        if (!m_bOthers) {
            m_oTexts.add(c_sSeparator);
            m_oTexts.add(sText);
        }
    }
}

bool LogLimit::admits(const LogClient::Id& a_oClient, const LogLine& a_oLine, Clock::time_point a_oNow)
{
    if (Entry* pEntry = find(a_oClient, a_oLine)) {
        if (pEntry->m_iLogged < a_oClient.m_iLines) {
            ++pEntry->m_iLogged;
            return true;
        }
        pEntry->count(a_oLine);
        return false;
    }
    if (Entry* pPlace = findPlace(a_oClient.m_iUser)) {
        use(*pPlace, a_oClient, a_oLine, a_oNow);
        return true;
    }
    Entry& oOthers = m_aEntries.back();
    if (!oOthers.m_bUsed) {
        use(oOthers, {}, {}, a_oNow);
    }
    oOthers.count(a_oLine);
    return false;
}

LogLimit::Entry* LogLimit::find(const LogClient::Id& a_oClient, const LogLine& a_oLine)
{
    const auto sHead = decltype(Entry::m_oHead)::cut(a_oLine.m_sHead);
    const auto it = std::ranges::find_if(m_aEntries, [&](const Entry& a_oEntry) {
        return a_oEntry.m_bUsed && a_oEntry.m_oClient == a_oClient &&
               a_oEntry.m_oSource == a_oLine.m_oSource && a_oEntry.m_oHead.get() == sHead;
    });
    return it != m_aEntries.end() ? &*it : nullptr;
}

LogLimit::Entry* LogLimit::findPlace(uid_t a_iUser)
{
    Entry* pFree = nullptr;
    std::size_t iOfUser = 0;
    for (std::size_t i = 0; i < c_iEntries; ++i) {
        Entry& oEntry = m_aEntries[i];
        if (!oEntry.m_bUsed) {
            pFree = &oEntry;
        } else if (oEntry.m_oClient.m_iUser == a_iUser) {
            ++iOfUser;
        }
    }
    return iOfUser < c_iEntriesOfUser ? pFree : nullptr;
}

void LogLimit::use(Entry& a_oEntry, const LogClient::Id& a_oClient, const LogLine& a_oLine,
                   Clock::time_point a_oNow)
{
    a_oEntry.m_bUsed = true;
    a_oEntry.m_oClient = a_oClient;
    a_oEntry.m_oSource = a_oLine.m_oSource;
    a_oEntry.m_oHead.clear();
    a_oEntry.m_oHead.add(a_oLine.m_sHead);
    a_oEntry.m_oTexts.clear();
    a_oEntry.m_bOthers = false;
    a_oEntry.m_oStart = a_oNow;
    a_oEntry.m_iLogged = 1;
    a_oEntry.m_iMore = 0;
    ++m_iUsed;
}

} // namespace zel
