#include "storage/tablefacts.h"

namespace systema {

bool TableFacts::isKnown(const std::string& a_table, const SqliteState& a_oNow)
{
    if (m_iConnection != a_oNow.m_iConnection) {
        m_iConnection = a_oNow.m_iConnection;
        m_mTables.clear();
    }
    return m_mTables.contains(a_table);
}

std::optional<bool> TableFacts::getZeroIdRow(const std::string& a_table, const SqliteState& a_oNow) const
{
    const auto it = m_mTables.find(a_table);
    if (it == m_mTables.end() || !it->second || it->second->first != a_oNow) {
        return std::nullopt;
    }
    return it->second->second;
}

void TableFacts::setZeroIdRow(const std::string& a_table, const SqliteState& a_oNow, bool a_bExists)
{
    if (const auto it = m_mTables.find(a_table); it != m_mTables.end()) {
        it->second.emplace(a_oNow, a_bExists);
    }
}

} // namespace systema
