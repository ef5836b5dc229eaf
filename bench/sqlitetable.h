// The large table in SQLite, in this process: the limit of what the daemon does with it.
//
// Every failure ends the measurement.
#pragma once

#include "bench/sqlite.h"
#include "bench/workspace.h"

#include <memory>

namespace bench {

/// The files of the databases, as a daemon of its own would have them.
class DatabaseFiles : public Workspace
{
public:
    DatabaseFiles() { createDatabase(path()); }
};

class SqliteTable
{
public:
    /// Opens the files, which must outlive it.
    explicit SqliteTable(const DatabaseFiles& a_oFiles) : m_oDatabase(a_oFiles.path() / c_pDatabase) {}

    /// The next row by its key.
    void get()
    {
        m_pSelect->bind(1, m_oKeys.next());
        while (m_pSelect->step()) {
            m_pSelect->entry();
        }
    }

    /// One column of the next row by its key.
    void update()
    {
        m_pUpdate->bind(1, ++m_iWeight);
        m_pUpdate->bind(2, m_oKeys.next());
        m_pUpdate->run();
    }

    /// So many of these in one transaction.
    void updateTogether(int a_iUpdates)
    {
        m_pBegin->run();
        for (int i = 0; i < a_iUpdates; ++i) {
            update();
        }
        m_pCommit->run();
    }

    Sqlite::Statement& selectAll() { return *m_pSelectAll; }

private:
    using Statement = std::unique_ptr<Sqlite::Statement>;

    Sqlite m_oDatabase;
    Statement m_pSelectAll = m_oDatabase.prepare("SELECT * FROM BenchLarge");
    Statement m_pSelect = m_oDatabase.prepare("SELECT * FROM BenchLarge WHERE Name = ? AND Id != 0");
    Statement m_pUpdate = m_oDatabase.prepare("UPDATE BenchLarge SET Weight = ? WHERE Name = ? AND Id != 0");
    Statement m_pBegin = m_oDatabase.prepare("BEGIN IMMEDIATE");
    Statement m_pCommit = m_oDatabase.prepare("COMMIT");
    Keys m_oKeys{c_oLargeTable};
    int m_iWeight = 0;
};

} // namespace bench
