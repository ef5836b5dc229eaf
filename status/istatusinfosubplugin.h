// The contract of a provider of live-status tables, which are read-only and computed from the running system.
//
// Owned by the status host, called on the main thread. Results are codes; nothing throws.
#pragma once

#include "status/statusinfotransaction.h"
#include "systema/lists.h"
#include "systema/protocol.h"
#include "systema/rowsource.h"

#include <memory>
#include <string>

namespace zel {

class IStatusInfoSubPlugin : public StatusInfoTransaction
{
public:
    /// One-time start, before the first update: reads configuration tables and subscribes to them.
    virtual void init() = 0;
    /// True for a table that is served; letter case counts.
    virtual bool hasTable(const std::string& a_sTable) const = 0;
    /// Appends the names of all tables served.
    virtual void getTableNames(systema::NameList& a_lTables) const = 0;
    /// Appends the table's columns with their types. 0.
    virtual systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable) = 0;
    /// Number of rows. 0.
    virtual systema::EResultCode getRowCount(const std::string& a_sTable, unsigned int& a_iCount) = 0;
    /// The wanted columns of the row at a position, counted from 0; all columns when none is named. 0; 10
    /// past the end; what becomes of an unknown column is the table's own.
    virtual systema::EResultCode getRow(const std::string& a_sTable, systema::ValueList& a_lRow,
                                        unsigned int a_iPosition, const systema::NameList& a_lColumns) = 0;
    /// The same of the first row whose key column has the value. 0; 10 when no row has it; which columns are
    /// keys, and whether another one gives 9 or 10, is the table's own.
    virtual systema::EResultCode getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                             const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                             const systema::NameList& a_lColumns) = 0;
    /// True for a column that the rows have and the schema lacks.
    virtual bool hasHiddenColumn(const std::string&) const { return false; }
    /// True when a read leaves out columns that the table lacks; else they give 9.
    virtual bool skipsUnknownColumns() const { return false; }
    /// While held, a table does not read its source for each request, but serves the rows that it read last.
    /// The host holds it to copy all rows of one state.
    virtual void hold(bool) {}
    /// False for a table whose changes are never announced.
    virtual bool announces(const std::string&) const { return true; }
    /// True when rows change only during update(), which announces each change: a bulk read then needs no
    /// copy of the rows, as it ends with 2 after a change.
    virtual bool announcesEveryChange() const { return false; }
    /// Opens a bulk read, as systema::IRowSource does. When this sets no cursor, the host copies all rows at
    /// once for the read, unless announcesEveryChange().
    virtual systema::EResultCode openRows(std::unique_ptr<systema::IRowCursor>&, const std::string&,
                                          unsigned int, unsigned int, const systema::NameList&)
    {
        return {};
    }
    /// Periodic refresh: appends the name of every table whose content changed.
    virtual void update(systema::NameList& a_lChangedTables) = 0;
};

} // namespace zel
