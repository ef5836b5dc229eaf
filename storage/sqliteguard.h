// The second wall around a database, behind the check of names: what SQLite itself refuses to prepare.
#pragma once

struct sqlite3;

namespace systema {

/// From here on the connection prepares nothing but reads, also of the schema, changes of rows, transactions
/// and the limit of the file's size, and calls no function that the wrapper's own statements do not use. What
/// triggers and views of the schema do with rows and functions stays allowed. Everything else fails to
/// prepare with SQLITE_AUTH or SQLITE_ERROR.
void guardDatabase(sqlite3* a_pDatabase);

} // namespace systema
