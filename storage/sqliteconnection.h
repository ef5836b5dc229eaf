// One SQLite database file held open: running statements on it and mapping SQLite's results.
//
// Base of SqliteWrapper; used on the one thread that dispatches requests. Every failure is a result code
// with its lines in the log module "SQLiteWrap"; only a file that cannot be opened is an assertion. While
// closed, and on a file that is damaged or gone, there are result codes as well. Nothing waits for a lock.
//
// Statements are kept prepared while the file is locked for this connection alone.
#pragma once

#include "storage/sqltext.h"
#include "storage/statementcache.h"
#include "systema/lists.h"
#include "systema/protocol.h"
#include "zel/memory.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace systema {

/// What is compared to learn that the data may have changed since it was read over the same connection.
struct SqliteState
{
    std::uint64_t m_iConnection; // connections closed so far
    std::uint64_t m_iRollbacks;  // transactions rolled back so far
    std::int64_t m_iChanges;     // rows changed over the open connection

    bool operator==(const SqliteState&) const = default;
};

class SqliteConnection : public zel::Cache
{
public:
    /// Opens the database <path>/<name>; a_exclusive keeps the file locked from the first use of the
    /// connection to its end, and leaves writing to the disk to the system's own time.
    SqliteConnection(const std::string& a_name, const std::string& a_path, bool a_exclusive);
    ~SqliteConnection() override;
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    /// Opens the file when it is not open; an assertion when that fails.
    void open();
    /// Finalizes every statement of the connection, rolls an open transaction back and closes the file.
    void close();
    /// Forgets the prepared statements, and the pages that are the same in the file.
    void dropCache() override;
    bool isOpen() const { return m_pDatabase != nullptr; }
    /// True from a begin until it is committed or rolled back, by whomever.
    bool isInTransaction() const;
    /// The file name.
    const std::string& getName() const { return m_sName; }
    SqliteState getState() const;

    /// Runs a text of the program's own, never one with a part from outside. 0 to 8.
    EResultCode exec(const char* a_sql) const;
    /// Prepares the first statement of such a text; returns SQLite's code (21 while closed). On success the
    /// caller finalizes the statement, but not after close().
    int query(const char* a_sql, sqlite3_stmt** a_statement) const;
    /// Appends the first row of the result of such a text. 0; 10 when no row comes; else getResultCode.
    EResultCode selectSql(ValueList& a_row, const char* a_sql) const;
    EResultCode startTransaction() { return exec("BEGIN IMMEDIATE"); }
    EResultCode commitTransaction() { return exec("COMMIT"); }
    EResultCode rollbackTransaction() { return exec("ROLLBACK"); }

    /// Maps a code of SQLite: 0, and 100 and above, is success; any other is logged with SQLite's message
    /// and then, mapped, under a_message.
    EResultCode getResultCode(int a_iSqliteCode, const char* a_message) const;
    /// Logs "<message> failed with error: <code>" and returns the code.
    EResultCode logError(const char* a_message, const EResultCode& a_code) const;

protected:
    struct Reset
    {
        void operator()(SqliteStatement* a_pStatement) const { a_pStatement->reset(); }
    };
    /// A kept statement while it runs. Only one at a time: it must be gone before the next is prepared.
    using RunningStatement = std::unique_ptr<SqliteStatement, Reset>;

    /// True when no other connection can change the file once this one has read it.
    bool isAlone() const { return m_bAlone; }
    sqlite3* getDatabase() const { return m_pDatabase; }

    /// Logs the syntax error that the piece would have been; 8.
    EResultCode logSyntaxError(std::string_view a_sPiece, const char* a_pOperation) const;
    /// 0 when the text may be prepared; else the logged code of what is wrong with it.
    EResultCode check(const SqlText& a_oText, const char* a_pOperation) const;
    /// Prepares a text that was checked, and binds its values; SQLite's code.
    int prepare(const SqlText& a_oText, RunningStatement& a_pStatement) const;
    /// All of that, logged under the operation.
    EResultCode prepare(const SqlText& a_oText, RunningStatement& a_pStatement,
                        const char* a_pOperation) const;
    /// Appends the first row. 0, 10, or what prevents the preparation, logged as "selectSql".
    EResultCode select(ValueList& a_row, const SqlText& a_oText) const;
    /// Runs a change; failures are logged as "exec".
    EResultCode execute(const SqlText& a_oText) const;

private:
    static void onRollback(void* a_pConnection);

    EResultCode logSqliteError(int a_iSqliteCode, const char* a_pDetail, const char* a_message) const;

    int m_iModule;
    sqlite3* m_pDatabase = nullptr; // null while closed
    bool m_bExclusive;
    std::string m_sName;
    std::string m_sPath;
    bool m_bAlone = false;
    std::uint64_t m_iConnection = 0;
    std::uint64_t m_iRollbacks = 0;
    mutable StatementCache m_oStatements;
};

} // namespace systema
