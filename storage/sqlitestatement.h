// One prepared statement of a connection, finalized when its owner goes.
//
// Owned by the statement cache, a row cursor or the operation that runs it; used on the thread of its
// connection. Failures are SQLite's own codes, returned as they come.
#pragma once

#include "storage/sqltext.h"
#include "systema/lists.h"
#include "systema/rowsource.h"

#include <memory>
#include <string>

struct sqlite3_stmt;

namespace systema {

class SqliteStatement
{
public:
    explicit SqliteStatement(sqlite3_stmt* a_pStatement) : m_pStatement(a_pStatement) {}

    /// Binds the values of the text that was prepared; its texts must live until reset().
    int bind(const SqlText& a_oText);
    int step();
    /// Ends the run and forgets the bound values.
    void reset();

    /// The result's columns with the types of the cells. Lives as long as the statement.
    const ColumnList& getColumns();
    /// Hands the cells of the row stepped to to the sink. The row is not ended.
    void readRow(IRowSink& a_oSink);
    // Column 0 of the row stepped to.
    int readNumber();
    std::string readText();
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

} // namespace systema
