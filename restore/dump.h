// Loading the text dump of a database, as the sqlite3 shell writes it.
//
// Whether the shell's own exit status told of a failure does not matter here: a dump that is cut, rolled back
// or damaged is found by loading it.
#pragma once

#include "restore/limits.h"
#include "storage/sqlitefile.h"

#include <string>

namespace zel::cfg {

/// Loads the dump into an empty database, statement by statement, and checks the outcome. Throws
/// std::runtime_error, or its descendant systema::SqliteError, with what is wrong in one line without the
/// file's name; the database is then as it was or of no use.
void loadDump(systema::SqliteFile& a_oDatabase, const std::string& a_sFile, const Limits& a_oLimits);

} // namespace zel::cfg
