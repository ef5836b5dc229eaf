// What the schema of a database says of a table and its columns. Free functions, used on the thread of the
// database's connection.
#pragma once

#include "systema/tabledescription.h"

#include <string>
#include <string_view>
#include <vector>

namespace systema {

class SqliteWrapper;

/// Adds what the schema says of a table or view to its description. 0, 8 and what getResultCode makes of
/// SQLite's code.
EResultCode describeTable(TableDescription& a_oDescription, SqliteWrapper& a_oDatabase,
                          const std::string& a_sTable);

/// The CHECK constraints in the text of a CREATE TABLE that SQLite has accepted, which are nowhere else to be
/// had. Comments and breaks in a condition become one blank.
std::vector<ColumnFact> findChecks(std::string_view a_sCreate, const NameList& a_lColumns);

} // namespace systema
