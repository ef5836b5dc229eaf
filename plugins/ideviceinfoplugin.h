// The contract of one table about the device: a single row that is read once, before it is asked for.
//
// Owned by the plugin of device information, which passes the calls of clients on. Main thread only.
#pragma once

#include "systema/lists.h"
#include "systema/protocol.h"

#include <string>

namespace zel {

class IDeviceInfoPlugin
{
public:
    virtual ~IDeviceInfoPlugin() = default;

    /// True once the row has been read.
    virtual bool loaded() const = 0;
    /// Reads the row, which must not have been read yet. Throws what keeps the daemon from going on.
    virtual void load() = 0;
    /// True for the table's name.
    virtual bool hasTable(const std::string& a_sTable) const = 0;
    /// Appends the table's name.
    virtual void getTables(systema::NameList& a_lTables) const = 0;
    /// Appends the columns of the row with their types. 0.
    virtual systema::EResultCode getSchema(systema::ColumnList& a_lColumns) const = 0;
    /// Always 1. 0.
    virtual systema::EResultCode getSize(unsigned int& a_iSize) const = 0;
    /// Appends the wanted columns in the order wanted, the whole row when none is named. 0; 9 at the first
    /// column that the row lacks, and those before it stay appended; 10 for an index other than 0.
    virtual systema::EResultCode selectRow(systema::ValueList& a_lRow, unsigned int a_iIndex,
                                           const systema::NameList& a_lColumns) const = 0;
};

} // namespace zel
