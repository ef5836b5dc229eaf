// A layer over SQLite's own file access that joins the many small writes of a rollback journal.
//
// The journal's bytes wait in a buffer of 64 KiB, which exists only while a journal is written, and reach
// the kernel before anything is done to the database file: a process that is killed leaves what it would
// leave without the layer. A waiting write that fails is reported by the operation it had to precede, which
// is then not done. Files are used on the thread of their connection.
//
// A journal keeps c_iJournalReserve bytes on the disk for as long as its database is there. So rows can be
// deleted, and settings changed in place, when the disk is full, whoever filled it; a larger transaction
// needs room. Of what that has taken a journal keeps as much as makes up c_iMostJournal between transactions.
#pragma once

struct sqlite3;

namespace systema {

/// The name to open a database by, registered at the first call; null, which stands for SQLite's own access,
/// when that is refused.
const char* getJournalVfs();

/// Some thirty pages: a row with its indexes, or a form of the web interface.
inline constexpr int c_iJournalReserve = 128 * 1024;
/// To give back and take again what a hundred rows need would cost such a transaction a third of its time.
inline constexpr int c_iMostJournal = 512 * 1024;

/// Makes sure that the open database's journal has its reserve on the disk; an error in the log when there is
/// no room for it.
void reserveJournal(sqlite3* a_pDatabase);

/// True when a write of the database or its journal found no space left since this was asked for last.
bool takeLackOfSpace(sqlite3* a_pDatabase);

} // namespace systema
