#include "storage/sqliteplugin.h"

#include "zel/assert.h"

using zel::error::Assert;

namespace systema {

namespace {

constexpr EResultCode c_eRefused = EResultCode::Busy; // another connection holds the write lock

}

SqlitePlugin::SqlitePlugin(const std::string& a_directory, const std::string& a_fileName,
                           bool a_useTransactions, bool a_persistent, bool a_exclusive)
    : m_oDatabase(a_fileName, a_directory, a_exclusive),
      m_bUseTransactions(a_useTransactions),
      m_bPersistent(a_persistent)
{
}

bool SqlitePlugin::canWrite(const void* a_handle) const
{
    return m_pWriteOwner == nullptr || m_pWriteOwner == a_handle;
}

bool SqlitePlugin::mayWrite(const void* a_handle) const
{
    Assert(0 != a_handle, "0 != a_handle");
    return canWrite(a_handle);
}

void SqlitePlugin::open(const void* a_handle)
{
    Assert(0 != a_handle, "0 != a_handle");
    m_oDatabase.open();
}

void SqlitePlugin::close(const void* a_handle)
{
    Assert(0 != a_handle, "0 != a_handle");
    m_oDatabase.close();
}

void SqlitePlugin::getTables(NameList& a_tables, const void* a_handle)
{
    Assert(0 != a_handle, "0 != a_handle");
    m_oDatabase.getTables(a_tables);
}

EResultCode SqlitePlugin::getSchema(ColumnList& a_columns, const void* a_handle, const std::string& a_table)
{
    Assert(0 != a_handle, "0 != a_handle");
    return m_oDatabase.getSchema(a_columns, a_table);
}

EResultCode SqlitePlugin::getSize(unsigned int& a_size, const void* a_handle, const std::string& a_table)
{
    Assert(0 != a_handle, "0 != a_handle");
    return m_oDatabase.getSize(a_size, a_table);
}

EResultCode SqlitePlugin::selectRow(ValueList& a_row, const void* a_handle, const std::string& a_table,
                                    unsigned int a_index, const NameList& a_columns)
{
    Assert(0 != a_handle, "0 != a_handle");
    return m_oDatabase.selectRow(a_row, a_table, a_index, a_columns);
}

EResultCode SqlitePlugin::selectKey(ValueList& a_row, const void* a_handle, const std::string& a_table,
                                    const std::string& a_keyColumn, const std::string& a_keyValue,
                                    const NameList& a_columns)
{
    Assert(0 != a_handle, "0 != a_handle");
    return m_oDatabase.selectKey(a_row, a_table, a_keyColumn, a_keyValue, a_columns);
}

EResultCode SqlitePlugin::insertRow(const void* a_handle, const std::string& a_table,
                                    const ValueList& a_values)
{
    return mayWrite(a_handle) ? m_oDatabase.insertRow(a_table, a_values) : c_eRefused;
}

EResultCode SqlitePlugin::insertKey(int& a_id, const void* a_handle, const std::string& a_table,
                                    const ValueList& a_values)
{
    return mayWrite(a_handle) ? m_oDatabase.insertKey(a_id, a_table, a_values) : c_eRefused;
}

EResultCode SqlitePlugin::updateRow(const void* a_handle, const std::string& a_table, unsigned int a_index,
                                    const ValueList& a_values)
{
    return mayWrite(a_handle) ? m_oDatabase.updateRow(a_table, a_index, a_values) : c_eRefused;
}

EResultCode SqlitePlugin::updateKey(const void* a_handle, const std::string& a_table,
                                    const std::string& a_keyColumn, const std::string& a_keyValue,
                                    const ValueList& a_values)
{
    return mayWrite(a_handle) ? m_oDatabase.updateKey(a_table, a_keyColumn, a_keyValue, a_values)
                              : c_eRefused;
}

EResultCode SqlitePlugin::deleteRow(const void* a_handle, const std::string& a_table, unsigned int a_index)
{
    return mayWrite(a_handle) ? m_oDatabase.deleteRow(a_table, a_index) : c_eRefused;
}

EResultCode SqlitePlugin::deleteKey(const void* a_handle, const std::string& a_table,
                                    const std::string& a_keyColumn, const std::string& a_keyValue)
{
    return mayWrite(a_handle) ? m_oDatabase.deleteKey(a_table, a_keyColumn, a_keyValue) : c_eRefused;
}

EResultCode SqlitePlugin::deleteAll(const void* a_handle, const std::string& a_table)
{
    return mayWrite(a_handle) ? m_oDatabase.deleteAll(a_table) : c_eRefused;
}

EResultCode SqlitePlugin::startTransaction(const void* a_handle)
{
    Assert(0 != a_handle, "0 != a_handle");
    return m_bUseTransactions ? m_oDatabase.startTransaction() : EResultCode();
}

EResultCode SqlitePlugin::commitTransaction(const void* a_handle)
{
    Assert(0 != a_handle, "0 != a_handle");
    return m_bUseTransactions ? m_oDatabase.commitTransaction() : EResultCode();
}

EResultCode SqlitePlugin::rollbackTransaction(const void* a_handle)
{
    Assert(0 != a_handle, "0 != a_handle");
    return m_bUseTransactions ? m_oDatabase.rollbackTransaction() : EResultCode();
}

EResultCode SqlitePlugin::openRows(std::unique_ptr<IRowCursor>& a_cursor, const void* a_handle,
                                   const std::string& a_table, unsigned int a_first, unsigned int a_count,
                                   const NameList& a_columns)
{
    Assert(0 != a_handle, "0 != a_handle");
    return m_oDatabase.openRows(a_cursor, a_table, a_first, a_count, a_columns);
}

} // namespace systema
