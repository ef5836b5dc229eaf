// A layer over SQLite's own file access that joins the many small writes of a rollback journal.
//
// The journal's bytes wait in a buffer of 64 KiB, which exists only while a journal is written, and reach
// the kernel before anything is done to the database file: a process that is killed leaves what it would
// leave without the layer. A waiting write that fails is reported by the operation it had to precede, which
// is then not done. Files are used on the thread of their connection.
#pragma once

namespace systema {

/// The name to open a database by, registered at the first call; null, which stands for SQLite's own access,
/// when that is refused.
const char* getJournalVfs();

} // namespace systema
