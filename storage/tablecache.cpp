#include "storage/tablecache.h"

namespace systema {

bool TableCache::isKnown(const std::string& a_sTable, const SqliteState& a_oNow)
{
    if (m_iConnection != a_oNow.m_iConnection) {
        m_iConnection = a_oNow.m_iConnection;
        m_mTables.clear();
    }
    return m_mTables.contains(a_sTable);
}

std::optional<bool> TableCache::getZeroIdRow(const std::string& a_sTable, const SqliteState& a_oNow) const
{
    const auto it = m_mTables.find(a_sTable);
    if (it == m_mTables.end() || !it->second || it->second->first != a_oNow) {
        return std::nullopt;
    }
    return it->second->second;
}

void TableCache::setZeroIdRow(const std::string& a_sTable, const SqliteState& a_oNow, bool a_bExists)
{
    if (const auto it = m_mTables.find(a_sTable); it != m_mTables.end()) {
        it->second.emplace(a_oNow, a_bExists);
    }
}

} // namespace systema
