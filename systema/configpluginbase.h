// The contract of every table provider: twenty operations, called by the dispatcher on the main thread.
//
// A handle identifies the connection on whose behalf an operation runs. It is never null (each operation
// asserts "0 != a_handle"); plugins compare it and never look through it. Results are codes; nothing throws
// to the dispatcher but a failed assertion. The order of the operations is part of the contract.
#pragma once

#include "systema/lists.h"
#include "systema/protocol.h"

#include <string>

namespace systema {

class ConfigPluginBase
{
public:
    virtual ~ConfigPluginBase() = default;

    /// A connection begins to use the plugin.
    virtual void open(const void* a_pHandle) = 0;
    /// The connection stops using it.
    virtual void close(const void* a_pHandle) = 0;
    /// Appends the names of all tables served.
    virtual void getTables(NameList& a_lTables, const void* a_pHandle) = 0;
    /// Appends the table's columns with their types. 0, 8.
    virtual EResultCode getSchema(ColumnList& a_lColumns, const void* a_pHandle,
                                  const std::string& a_sTable) = 0;
    /// Number of rows. 0, 8.
    virtual EResultCode getSize(unsigned int& a_iSize, const void* a_pHandle,
                                const std::string& a_sTable) = 0;
    /// Reads the row at a position, counted from 0. An empty column list means all columns. 0, 8, 9, 10.
    virtual EResultCode selectRow(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                  unsigned int a_iIndex, const NameList& a_lColumns) = 0;
    /// Reads the row whose key column has the value. 0, 8, 9, 10.
    virtual EResultCode selectKey(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                  const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                  const NameList& a_lColumns) = 0;
    /// Adds a row.
    virtual EResultCode insertRow(const void* a_pHandle, const std::string& a_sTable,
                                  const ValueList& a_lValues) = 0;
    /// Adds a row and reports its id.
    virtual EResultCode insertKey(int& a_iId, const void* a_pHandle, const std::string& a_sTable,
                                  const ValueList& a_lValues) = 0;
    /// Changes the named columns of the row at a position.
    virtual EResultCode updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int a_iIndex,
                                  const ValueList& a_lValues) = 0;
    /// Changes the named columns of the row or rows with the key value.
    virtual EResultCode updateKey(const void* a_pHandle, const std::string& a_sTable,
                                  const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                  const ValueList& a_lValues) = 0;
    /// Removes the row at a position.
    virtual EResultCode deleteRow(const void* a_pHandle, const std::string& a_sTable,
                                  unsigned int a_iIndex) = 0;
    /// Removes the row or rows with the key value.
    virtual EResultCode deleteKey(const void* a_pHandle, const std::string& a_sTable,
                                  const std::string& a_sKeyColumn, const std::string& a_sKeyValue) = 0;
    /// Empties the table.
    virtual EResultCode deleteAll(const void* a_pHandle, const std::string& a_sTable) = 0;
    /// Periodic call: refreshes what is cached and appends the names of the tables whose content changed.
    virtual void tick(NameList& a_lChangedTables) = 0;
    /// One-time set-up before the first use; true when the plugin is set up.
    virtual bool initialize() = 0;
    /// True when the contents are to be kept across restarts.
    virtual bool isPersistent() const = 0;
    /// Begins a transaction for the connection.
    virtual EResultCode startTransaction(const void* a_pHandle) = 0;
    /// Makes its changes permanent.
    virtual EResultCode commitTransaction(const void* a_pHandle) = 0;
    /// Discards them.
    virtual EResultCode rollbackTransaction(const void* a_pHandle) = 0;

    /// Names the connection that alone may write, null for none. Set by the dispatcher.
    void setWriteOwner(const void* a_pHandle) { m_pWriteOwner = a_pHandle; }

protected:
    const void* m_pWriteOwner = nullptr;
};

} // namespace systema
