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
    virtual bool hasTable(const std::string& a_table) const = 0;
    /// Appends the names of all tables served.
    virtual void getTableNames(systema::NameList& a_tables) const = 0;
    /// Appends the table's columns with their types. 0.
    virtual systema::EResultCode getSchema(systema::ColumnList& a_columns, const std::string& a_table) = 0;
    /// Number of rows. 0.
    virtual systema::EResultCode getRowCount(const std::string& a_table, unsigned int& a_count) = 0;
    /// The wanted columns of the row at a position, counted from 0; all columns when none is named. 0; 10
    /// past the end; what becomes of an unknown column is the table's own.
    virtual systema::EResultCode getRow(const std::string& a_table, systema::ValueList& a_row,
                                        unsigned int a_position, const systema::NameList& a_columns) = 0;
    /// The same of the first row whose key column has the value. 0; 10 when no row has it; which columns are
    /// keys, and whether another one gives 9 or 10, is the table's own.
    virtual systema::EResultCode getRowByKey(const std::string& a_table, systema::ValueList& a_row,
                                             const std::string& a_keyColumn, const std::string& a_keyValue,
                                             const systema::NameList& a_columns) = 0;
    /// While it is held, a table whose source is read for each request serves what was read last: the host
    /// reads all rows of one state so.
    virtual void hold(bool) {}
    /// True when rows change in an update alone, which tells of each change: then a bulk read can do without
    /// a copy of them.
    virtual bool announcesEveryChange() const { return false; }
    /// Opens a bulk read, as systema::IRowSource does. Without a cursor the host reads all rows at once and
    /// keeps them for the read, unless every change of them is announced.
    virtual systema::EResultCode openRows(std::unique_ptr<systema::IRowCursor>&, const std::string&,
                                          unsigned int, unsigned int, const systema::NameList&)
    {
        return {};
    }
    /// Periodic refresh: appends the name of every table whose content changed.
    virtual void update(systema::NameList& a_changedTables) = 0;
};

} // namespace zel
