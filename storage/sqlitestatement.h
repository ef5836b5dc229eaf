// One prepared statement of a connection, finalized when its owner goes.
//
// Owned by the statement cache, a row cursor or the operation that runs it; used on the thread of its
// connection. Failures are SQLite's own codes, returned as they come. On a connection that is limited with
// limitStatements no step takes longer than its deadline, nor goes on when the process is to stop: it ends
// with SQLITE_INTERRUPT, and what the statement has changed is undone, with the transaction that is open.
#pragma once

#include "storage/sqltext.h"
#include "storage/storedcell.h"
#include "systema/lists.h"
#include "systema/rowsource.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace systema {

class SqliteStatement
{
public:
    using Clock = std::chrono::steady_clock;

    /// What the user of the slowest device waits for without a doubt that it goes on.
    static constexpr std::chrono::seconds c_oDeadline{2};

    explicit SqliteStatement(sqlite3_stmt* a_pStatement) : m_pStatement(a_pStatement) {}

    /// Binds the values of the text that was prepared; its texts must live until reset().
    int bind(const SqlText& a_oText);
    int step() { return step(Clock::now() + c_oDeadline); }
    /// One step of several that have to end by the same time.
    int step(Clock::time_point a_oDeadline);
    /// Ends the run and forgets the bound values.
    void reset();

    /// The result's columns with the types of the cells. Lives as long as the statement.
    const ColumnList& getColumns();
    /// Hands the cells of the row stepped to to the sink. The row is not ended.
    void readRow(IRowSink& a_oSink);
    /// True when the text that column 0 shows, used as a key, finds this cell and only cells that show the
    /// same text. False for NULL, a blob, and a number beyond 32 bits.
    bool isShownAsStored();
    /// The cells of the row stepped to, in order.
    std::vector<StoredCell> copyCells();
    /// Column 0 of the row stepped to.
    int readNumber();
    /// A column of the row stepped to, empty for NULL.
    std::string readText(int a_iColumn = 0);
    /// True when another connection changed the tables since the statement was prepared.
    bool wasPreparedAgain();

    sqlite3_stmt* get() { return m_pStatement.get(); }
    /// Lets go of a statement that its connection has finalized already.
    void forget() { static_cast<void>(m_pStatement.release()); }

private:
    struct Finalize
    {
        void operator()(sqlite3_stmt* a_pStatement) const;
    };

    std::unique_ptr<sqlite3_stmt, Finalize> m_pStatement;
    ColumnList m_lColumns; // empty until it is asked for
};

/// From here on the steps of the connection's statements keep their deadline.
void limitStatements(sqlite3* a_pDatabase);

} // namespace systema
