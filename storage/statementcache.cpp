#include "storage/statementcache.h"

namespace systema {

SqliteStatement* StatementCache::find(std::string_view a_sText)
{
    const auto it = m_mByText.find(a_sText);
    if (it == m_mByText.end()) {
        return nullptr;
    }
    m_lEntries.splice(m_lEntries.begin(), m_lEntries, it->second);
    return &it->second->second;
}

SqliteStatement& StatementCache::add(std::string_view a_sText, SqliteStatement a_oStatement)
{
    while (!m_lEntries.empty() &&
           (m_lEntries.size() == c_iMaximum || m_iText + a_sText.size() > c_iMaximumText)) {
        dropLast();
    }
    Entries lNew; // apart, so that nothing of it is kept when memory is out
    lNew.emplace_front(a_sText, std::move(a_oStatement));
    m_mByText.emplace(lNew.front().first, lNew.begin());
    m_lEntries.splice(m_lEntries.begin(), lNew);
    m_iText += a_sText.size();
    return m_lEntries.front().second;
}

void StatementCache::dropLast()
{
    m_iText -= m_lEntries.back().first.size();
    m_mByText.erase(m_lEntries.back().first);
    m_lEntries.pop_back();
}

void StatementCache::clear()
{
    m_mByText.clear();
    m_lEntries.clear();
    m_iText = 0;
}

} // namespace systema
