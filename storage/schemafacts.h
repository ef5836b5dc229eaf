// Reads the description of a table from the schema of its database. Free functions, used on the thread of the
// database's connection.
#pragma once

#include "systema/tabledescription.h"

#include <string>
#include <string_view>
#include <vector>

namespace systema {

class SqliteWrapper;

/// Adds kind, writability and facts of a table or view to its description. 0, 8, and the codes of
/// getResultCode.
EResultCode describeTable(TableDescription& a_oDescription, SqliteWrapper& a_oDatabase,
                          const std::string& a_sTable);

/// Finds the CHECK constraints in the text of a CREATE TABLE that SQLite has accepted: no pragma lists them.
/// Comments and line breaks in a condition become one blank.
std::vector<ColumnFact> findChecks(std::string_view a_sCreate, const NameList& a_lColumns);

} // namespace systema
