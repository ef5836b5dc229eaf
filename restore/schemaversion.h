// Which migrations a persistent database has seen: the number of the last of them.
//
// It is kept in a table of the database itself, for a dump holds nothing else, and one with the database in
// its name, for the names of tables are unique over all databases: "SchemaVersionPersistentWeb". Stateless
// but for that name; failures are systema::SqliteError.
#pragma once

#include "storage/sqlitefile.h"

#include <string>
#include <string_view>

namespace zel::cfg {

class SchemaVersion
{
public:
    /// For the database of that file name.
    explicit SchemaVersion(std::string_view a_sDatabase);

    const std::string& getTable() const { return m_sTable; }

    /// 0 when the database does not tell.
    int read(const systema::SqliteFile& a_oDatabase) const;
    void write(systema::SqliteFile& a_oDatabase, int a_iVersion) const;

private:
    std::string m_sTable;
};

} // namespace zel::cfg
