#include "storage/sqliteplugin.h"

#include "zel/assert.h"

using zel::error::Assert;

namespace systema {

SqlitePlugin::SqlitePlugin(const std::string& a_directory, const std::string& a_fileName,
                           bool a_useTransactions, bool a_persistent, bool a_exclusive,
                           std::uint64_t a_iLimit)
    : m_oDatabase(a_fileName, a_directory, a_exclusive, a_iLimit),
      m_bUseTransactions(a_useTransactions),
      m_bPersistent(a_persistent)
{
}

bool SqlitePlugin::canWrite(const void* a_handle) const
{
    return m_pWriteOwner == nullptr || m_pWriteOwner == a_handle;
}

template<typename Change>
EResultCode SqlitePlugin::write(const void* a_handle, Change a_oChange)
{
    Assert(0 != a_handle, "0 != a_handle");
    if (!canWrite(a_handle)) {
        return EResultCode::Busy;
    }
    // What follows must not be written as if the transaction had never begun.
    return hasLostTransaction() ? EResultCode(EResultCode::Failure) : a_oChange();
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
    return write(a_handle, [&] { return m_oDatabase.insertRow(a_table, a_values); });
}

EResultCode SqlitePlugin::insertKey(int& a_id, const void* a_handle, const std::string& a_table,
                                    const ValueList& a_values)
{
    return write(a_handle, [&] { return m_oDatabase.insertKey(a_id, a_table, a_values); });
}

EResultCode SqlitePlugin::updateRow(const void* a_handle, const std::string& a_table, unsigned int a_index,
                                    const ValueList& a_values)
{
    return write(a_handle, [&] { return m_oDatabase.updateRow(a_table, a_index, a_values); });
}

EResultCode SqlitePlugin::updateKey(const void* a_handle, const std::string& a_table,
                                    const std::string& a_keyColumn, const std::string& a_keyValue,
                                    const ValueList& a_values)
{
    return write(a_handle, [&] { return m_oDatabase.updateKey(a_table, a_keyColumn, a_keyValue, a_values); });
}

EResultCode SqlitePlugin::deleteRow(const void* a_handle, const std::string& a_table, unsigned int a_index)
{
    return write(a_handle, [&] { return m_oDatabase.deleteRow(a_table, a_index); });
}

EResultCode SqlitePlugin::deleteKey(const void* a_handle, const std::string& a_table,
                                    const std::string& a_keyColumn, const std::string& a_keyValue)
{
    return write(a_handle, [&] { return m_oDatabase.deleteKey(a_table, a_keyColumn, a_keyValue); });
}

EResultCode SqlitePlugin::deleteAll(const void* a_handle, const std::string& a_table)
{
    return write(a_handle, [&] { return m_oDatabase.deleteAll(a_table); });
}

EResultCode SqlitePlugin::startTransaction(const void* a_handle)
{
    Assert(0 != a_handle, "0 != a_handle");
    const EResultCode eResult = m_bUseTransactions ? m_oDatabase.startTransaction() : EResultCode();
    m_bBegun = m_bUseTransactions && eResult == EResultCode::Success;
    return eResult;
}

EResultCode SqlitePlugin::commitTransaction(const void* a_handle)
{
    Assert(0 != a_handle, "0 != a_handle");
    if (endsLost()) {
        return EResultCode::Failure;
    }
    return m_bUseTransactions ? m_oDatabase.commitTransaction() : EResultCode();
}

EResultCode SqlitePlugin::rollbackTransaction(const void* a_handle)
{
    Assert(0 != a_handle, "0 != a_handle");
    return m_bUseTransactions && !endsLost() ? m_oDatabase.rollbackTransaction() : EResultCode();
}

/// Ends the transaction; true when SQLite has rolled it back already.
bool SqlitePlugin::endsLost()
{
    const bool bLost = hasLostTransaction();
    m_bBegun = false;
    return bLost;
}

EResultCode SqlitePlugin::openRows(std::unique_ptr<IRowCursor>& a_cursor, const void* a_handle,
                                   const std::string& a_table, unsigned int a_first, unsigned int a_count,
                                   const NameList& a_columns)
{
    Assert(0 != a_handle, "0 != a_handle");
    return m_oDatabase.openRows(a_cursor, a_table, a_first, a_count, a_columns);
}

} // namespace systema
