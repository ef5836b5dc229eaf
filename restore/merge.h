// Brings saved rows into a newer schema, by the names of tables and columns.
//
// Tables, columns and rows that find no place are logged; columns that are new get their defaults, tables
// that are new keep their rows. Stateless.
#pragma once

#include "storage/sqlitefile.h"

#include <string>

namespace zel::cfg {

/// Replaces the rows of each table of the target that the saved database has as well, all in one transaction.
/// a_sDatabase is the name for the log lines; the table a_sWithout is not looked at. Throws
/// systema::SqliteError; the target is then as it was.
void mergeRows(systema::SqliteFile& a_oTarget, const systema::SqliteFile& a_oSaved,
               const std::string& a_sDatabase, const std::string& a_sWithout, int a_iLogModule);

} // namespace zel::cfg
