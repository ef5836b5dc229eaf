// The tables of one SQLite database file and their rows.
//
// Owned by its plugin (or a test); used on the one thread that dispatches requests. Failures are those of
// the connection: result codes with their log lines, also while closed.
//
// The row with Id 0 of a table is its hidden default row: not counted, not reached by position, never
// deleted by deleteAll, reached only by the key "Id" = "0" and read-only there.
//
// An operation on a name that is no plain identifier, or by a key value with a single quote, ends as the
// syntax error that its statement would be, before there is a statement.
#pragma once

#include "storage/sqliteconnection.h"
#include "storage/sqliterowcursor.h"
#include "storage/tablecache.h"
#include "systema/lists.h"
#include "systema/rowsource.h"

#include <memory>
#include <optional>
#include <string>

namespace systema {

class SqliteWrapper : public SqliteConnection
{
public:
    using SqliteConnection::SqliteConnection;

    /// Appends the names of all tables and views, in order of name; nothing on failure.
    void getTables(NameList& a_lNames);
    /// Appends the columns with their types. 0, 8; 1 for a name too long.
    EResultCode getSchema(ColumnList& a_lColumns, const std::string& a_sTable);
    /// The number of rows. 0, 8; 1 for a name too long.
    EResultCode getSize(unsigned int& a_iSize, const std::string& a_sTable);
    /// False when the table is missing; a failed lookup is logged and gives true, so that the operation
    /// that asks goes on and reports its own error.
    bool hasTable(const std::string& a_sTable);
    /// True when the table's row with Id 0 can be read.
    bool hasZeroIdRow(const std::string& a_sTable);
    /// The id of the row inserted last.
    EResultCode lastInsertID(int& a_iId) const;
    /// Deletes every row but the one with Id 0.
    EResultCode deleteAll(const std::string& a_sTable);

    // Rows. Besides the codes named here each operation gives 8 for a table or column that is not there, 1
    // for a statement that is too long, and what getResultCode makes of SQLite's code.

    /// Appends the row at a position, counted from 0 in SQLite's natural order. 0; 10 past the end.
    EResultCode selectRow(ValueList& a_lRow, const std::string& a_sTable, unsigned int a_iPosition,
                          const NameList& a_lColumns);
    /// Appends the first row with the key. 0; 10 when there is none.
    EResultCode selectKey(ValueList& a_lRow, const std::string& a_sTable, const std::string& a_sKeyColumn,
                          const std::string& a_sKeyValue, const NameList& a_lColumns);
    /// Opens a read of a range of rows, see IRowSource. The cursor must not outlive the wrapper.
    EResultCode openRows(std::unique_ptr<IRowCursor>& a_pCursor, const std::string& a_sTable,
                         unsigned int a_iFirst, unsigned int a_iCount, const NameList& a_lColumns);
    /// See ConfigDispatcher::openKeyRows.
    EResultCode openKeyRows(std::unique_ptr<IRowCursor>& a_pCursor, const std::string& a_sTable,
                            const NameList& a_lColumns);
    /// Adds a row. 0; 1 without values; 6 for Id 0.
    EResultCode insertRow(const std::string& a_sTable, const ValueList& a_lValues);
    /// The same, and reports the new row's id.
    EResultCode insertKey(int& a_iId, const std::string& a_sTable, const ValueList& a_lValues);
    /// Changes every row that equals the one at the position. 0; 6 for Id 0; 10 past the end.
    EResultCode updateRow(const std::string& a_sTable, unsigned int a_iPosition, const ValueList& a_lValues);
    /// Changes every row with the key. 0; 4 for the key Id 0; 6 for Id 0 as the new one; 10 when there is
    /// none.
    EResultCode updateKey(const std::string& a_sTable, const std::string& a_sKeyColumn,
                          const std::string& a_sKeyValue, const ValueList& a_lValues);
    /// Deletes every row that equals the one at the position. 0; 10 past the end.
    EResultCode deleteRow(const std::string& a_sTable, unsigned int a_iPosition);
    /// Deletes every row with the key. 0; 4 for the key Id 0; 10 when there is none.
    EResultCode deleteKey(const std::string& a_sTable, const std::string& a_sKeyColumn,
                          const std::string& a_sKeyValue);

private:
    enum class ELookup
    {
        Missing,
        Found,
        Failed
    };

    ELookup lookUp(const std::string& a_sTable);
    /// Reads the one number of a result; what is not read counts nothing.
    EResultCode count(unsigned int& a_iCount, const SqlText& a_oText) const;
    /// hasZeroIdRow, or 1 when that could not be found out.
    EResultCode findZeroIdRow(bool& a_bExists, const std::string& a_sTable);
    /// True when one of the values is such a one for the Id, by whichever of the column's names.
    bool setsId(const std::string& a_sTable, const ValueList& a_lValues, bool (*a_pIsSuch)(const Value&));
    EResultCode refuseId(const char* a_pOperation) const;
    bool isRowId(const std::string& a_sTable, const std::string& a_sColumn);
    /// Makes the text that reads a range of rows. 0, or 1 when the table's hidden row could not be found out.
    EResultCode makeRange(SqlText& a_oText, const std::string& a_sTable, unsigned int a_iFirst,
                          unsigned int a_iCount, const NameList& a_lColumns);
    /// Opens a read of the rows that the text selects.
    EResultCode openCursor(std::unique_ptr<IRowCursor>& a_pCursor, const SqlText& a_oText,
                           SqliteRowCursor::ERows a_eRows);
    /// True when the column is one of a table, not of a view, and compares texts byte by byte.
    bool isComparedByBytes(const std::string& a_sTable, const std::string& a_sColumn) const;
    /// Ends an update or delete by position; a_oChange lacks only its condition.
    EResultCode changeByPosition(SqlText& a_oChange, const std::string& a_sTable, unsigned int a_iPosition);
    /// Ends an update or delete by key; a_oChange lacks only its condition.
    EResultCode changeByKey(const char* a_pOperation, SqlText& a_oChange, const std::string& a_sTable,
                            const std::string& a_sKeyColumn, const std::string& a_sKeyValue);
    /// Changes the rows without looking for one first. Nothing when that leaves open whether there is one.
    std::optional<EResultCode> changeAtOnce(const SqlText& a_oChange) const;

    TableCache m_oTableCache;
};

} // namespace systema
