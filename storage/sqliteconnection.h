// One SQLite database file held open: running statements on it and mapping SQLite's results.
//
// Base of SqliteWrapper; used on the one thread that dispatches requests. Every failure is a result code
// with its lines in the log module "SQLiteWrap"; only a file that cannot be opened is an assertion, after a
// line with its path. While closed, and on a file that is damaged or gone, there are result codes as well.
// Nothing waits for a lock. No statement takes longer than its deadline (see SqliteStatement), a begin,
// commit or rollback aside, which have no loop. A change that is ended by the deadline, or for which there is
// no space, may take the open transaction with it: isInTransaction tells.
//
// Statements are kept prepared while the file is locked for this connection alone.
#pragma once

#include "storage/sqltext.h"
#include "storage/statementcache.h"
#include "storage/touchedtables.h"
#include "systema/lists.h"
#include "systema/protocol.h"
#include "zel/memory.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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
    /// Opens the database <path>/<name>; a_bExclusive keeps the file locked from the first use of the
    /// connection to its end, leaves writing to the disk to the system's own time, and keeps some disk space
    /// with which what does not grow can be changed on a full disk. The file does not grow beyond a_iLimit
    /// bytes, 0 for no limit.
    SqliteConnection(const std::string& a_sName, const std::string& a_sPath, bool a_bExclusive,
                     std::uint64_t a_iLimit = 0);
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
    /// Replaces the list by the names of the tables whose rows have changed since the last call, and of the
    /// views that read them; a rollback empties it. False when memory ran out and names are missing.
    bool takeTouched(NameList& a_lTables) noexcept { return m_oTouched.take(a_lTables); }

    /// Runs a text of the program's own, never one with a part from outside. 0 to 8.
    EResultCode exec(const char* a_pSql) const;
    /// Prepares the first statement of such a text; returns SQLite's code (21 while closed). On success the
    /// caller finalizes the statement, but not after close().
    int query(const char* a_pSql, sqlite3_stmt** a_pStatement) const;
    /// Appends the first row of the result of such a text. 0; 10 when no row comes; 1 when it was ended; else
    /// getResultCode.
    EResultCode selectSql(ValueList& a_lRow, const char* a_pSql) const;
    EResultCode startTransaction() { return exec("BEGIN IMMEDIATE"); }
    EResultCode commitTransaction() { return exec("COMMIT"); }
    EResultCode rollbackTransaction() { return exec("ROLLBACK"); }

    /// Maps a code of SQLite: 0, and 100 and above, is success; any other is logged with SQLite's message
    /// and then, mapped, under a_pMessage. Where SQLite's message leaves open what to do about it the log has
    /// our own: after the deadline, at the limit, and on a full disk. These messages, and those
    /// of SQLite about constraints and wrong types, are noted as the reason of the refusal.
    EResultCode getResultCode(int a_iSqliteCode, const char* a_pMessage) const;
    /// Logs "<message> failed with error: <code>" and returns the code.
    EResultCode logError(const char* a_pMessage, const EResultCode& a_eCode) const;

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

    enum class EGrowth
    {
        UpToLimit,
        Beyond, // by little: to delete rows may take new pages, too
    };

    /// Sets how large the next change may make the file. No kept statement may run.
    void allowGrowth(EGrowth a_eGrowth) const;

    /// True for the code of a statement that was ended before it was through, which tells nothing of rows.
    static bool isEnded(int a_iSqliteCode);

    /// Logs the syntax error that a refused piece (see SqlText) would have been; 8.
    EResultCode logSyntaxError(const std::string& a_sRefused, const char* a_pOperation) const;
    /// 0 when the text may be prepared; else the logged code of what is wrong with it.
    EResultCode check(const SqlText& a_oText, const char* a_pOperation) const;
    /// Prepares a text that was checked, and binds its values; SQLite's code.
    int prepare(const SqlText& a_oText, RunningStatement& a_pStatement) const;
    /// All of that, logged under the operation.
    EResultCode prepare(const SqlText& a_oText, RunningStatement& a_pStatement,
                        const char* a_pOperation) const;
    /// Appends the first row, and its cells as they are stored. 0; 10; 1 when it was ended, or what prevents
    /// the preparation, logged as "selectSql".
    EResultCode select(ValueList& a_lRow, const SqlText& a_oText,
                       std::vector<StoredCell>* a_pCells = nullptr) const;
    /// Runs a change; failures are logged as "exec".
    EResultCode execute(const SqlText& a_oText) const;

private:
    static void onRollback(void* a_pConnection);

    void limitSize();
    int readNumber(const char* a_pSql) const;
    EResultCode readFirst(ValueList& a_lRow, SqliteStatement& a_oStatement) const;
    std::string describe(int a_iSqliteCode) const;
    EResultCode logSqliteError(int a_iSqliteCode, const char* a_pDetail, const char* a_pMessage) const;

    int m_iModule;
    sqlite3* m_pDatabase = nullptr; // null while closed
    bool m_bExclusive;
    std::string m_sName;
    std::string m_sPath;
    std::uint64_t m_iLimit;                   // bytes
    std::uint64_t m_iMostPages = 0;           // of the open file, 0 for no limit
    mutable std::optional<EGrowth> m_oGrowth; // what SQLite knows of
    bool m_bAlone = false;
    std::uint64_t m_iConnection = 0;
    std::uint64_t m_iRollbacks = 0;
    mutable StatementCache m_oStatements;
    TouchedTables m_oTouched;
};

} // namespace systema
