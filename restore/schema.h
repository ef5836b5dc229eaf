// Questions about the schema of a database. Stateless; failures are systema::SqliteError.
#pragma once

#include "storage/sqlitefile.h"

#include <string>
#include <string_view>
#include <vector>

namespace zel::cfg {

/// A name, and a text, as they stand in a statement.
std::string quotedName(std::string_view a_sName);
std::string quotedText(std::string_view a_sText);

/// Names of tables and columns are the same whatever the case of their letters.
bool isSameName(const std::string& a_sName, const std::string& a_sOther);

/// The names of the tables, without those that SQLite keeps for itself, in order.
std::vector<std::string> findTables(const systema::SqliteFile& a_oDatabase);
/// The definitions of everything but the table named a_sWithout: equal for equal schemas.
std::vector<systema::SqliteFile::Row> readSchema(const systema::SqliteFile& a_oDatabase,
                                                 const std::string& a_sWithout);
/// The number of rows of a table, as text.
std::string countRows(const systema::SqliteFile& a_oDatabase, const std::string& a_sTable);

} // namespace zel::cfg
