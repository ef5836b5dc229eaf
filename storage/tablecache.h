// What is known about the tables of a database that nobody else can change.
//
// Owned by the database's wrapper. Only tables that exist are kept, so what clients ask for does not add up.
// A table is known until the connection is closed, its row with Id 0 until any row may have changed.
#pragma once

#include "storage/sqliteconnection.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace systema {

class TableCache
{
public:
    bool isKnown(const std::string& a_sTable, const SqliteState& a_oNow);
    void setKnown(const std::string& a_sTable) { m_mTables.try_emplace(a_sTable); }
    /// Whether the table has a row with Id 0; nothing when that is not known for now.
    std::optional<bool> getZeroIdRow(const std::string& a_sTable, const SqliteState& a_oNow) const;
    /// Has no effect for a table that is not known.
    void setZeroIdRow(const std::string& a_sTable, const SqliteState& a_oNow, bool a_bExists);

private:
    std::uint64_t m_iConnection = 0;
    std::unordered_map<std::string, std::optional<std::pair<SqliteState, bool>>> m_mTables;
};

} // namespace systema
