#include "storage/sqliteplugin.h"

#include "zel/assert.h"

using zel::error::Assert;

namespace systema {

SqlitePlugin::SqlitePlugin(const std::string& a_sDirectory, const std::string& a_sFileName,
                           bool a_bUseTransactions, bool a_bPersistent, bool a_bExclusive,
                           std::uint64_t a_iLimit)
    : m_oDatabase(a_sFileName, a_sDirectory, a_bExclusive, a_iLimit),
      m_bUseTransactions(a_bUseTransactions),
      m_bPersistent(a_bPersistent)
{
}

bool SqlitePlugin::canWrite(const void* a_pHandle) const
{
    return m_pWriteOwner == nullptr || m_pWriteOwner == a_pHandle;
}

template<typename Change>
EResultCode SqlitePlugin::write(const void* a_pHandle, Change a_oChange)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    if (!canWrite(a_pHandle)) {
        return EResultCode::Busy;
    }
    // What follows must not be written as if the transaction had never begun.
    return hasLostTransaction() ? EResultCode(EResultCode::Failure) : a_oChange();
}

void SqlitePlugin::open(const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    m_oDatabase.open();
}

void SqlitePlugin::close(const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    m_oDatabase.close();
}

void SqlitePlugin::getTables(NameList& a_lTables, const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    m_oDatabase.getTables(a_lTables);
}

EResultCode SqlitePlugin::getSchema(ColumnList& a_lColumns, const void* a_pHandle,
                                    const std::string& a_sTable)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    return m_oDatabase.getSchema(a_lColumns, a_sTable);
}

EResultCode SqlitePlugin::getSize(unsigned int& a_iSize, const void* a_pHandle, const std::string& a_sTable)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    return m_oDatabase.getSize(a_iSize, a_sTable);
}

EResultCode SqlitePlugin::selectRow(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                    unsigned int a_iIndex, const NameList& a_lColumns)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    return m_oDatabase.selectRow(a_lRow, a_sTable, a_iIndex, a_lColumns);
}

EResultCode SqlitePlugin::selectKey(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                    const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                    const NameList& a_lColumns)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    return m_oDatabase.selectKey(a_lRow, a_sTable, a_sKeyColumn, a_sKeyValue, a_lColumns);
}

EResultCode SqlitePlugin::insertRow(const void* a_pHandle, const std::string& a_sTable,
                                    const ValueList& a_lValues)
{
    return write(a_pHandle, [&] { return m_oDatabase.insertRow(a_sTable, a_lValues); });
}

EResultCode SqlitePlugin::insertKey(int& a_iId, const void* a_pHandle, const std::string& a_sTable,
                                    const ValueList& a_lValues)
{
    return write(a_pHandle, [&] { return m_oDatabase.insertKey(a_iId, a_sTable, a_lValues); });
}

EResultCode SqlitePlugin::updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int a_iIndex,
                                    const ValueList& a_lValues)
{
    return write(a_pHandle, [&] { return m_oDatabase.updateRow(a_sTable, a_iIndex, a_lValues); });
}

EResultCode SqlitePlugin::updateKey(const void* a_pHandle, const std::string& a_sTable,
                                    const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                    const ValueList& a_lValues)
{
    return write(a_pHandle,
                 [&] { return m_oDatabase.updateKey(a_sTable, a_sKeyColumn, a_sKeyValue, a_lValues); });
}

EResultCode SqlitePlugin::deleteRow(const void* a_pHandle, const std::string& a_sTable, unsigned int a_iIndex)
{
    return write(a_pHandle, [&] { return m_oDatabase.deleteRow(a_sTable, a_iIndex); });
}

EResultCode SqlitePlugin::deleteKey(const void* a_pHandle, const std::string& a_sTable,
                                    const std::string& a_sKeyColumn, const std::string& a_sKeyValue)
{
    return write(a_pHandle, [&] { return m_oDatabase.deleteKey(a_sTable, a_sKeyColumn, a_sKeyValue); });
}

EResultCode SqlitePlugin::deleteAll(const void* a_pHandle, const std::string& a_sTable)
{
    return write(a_pHandle, [&] { return m_oDatabase.deleteAll(a_sTable); });
}

EResultCode SqlitePlugin::startTransaction(const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    const EResultCode eResult = m_bUseTransactions ? m_oDatabase.startTransaction() : EResultCode();
    m_bBegun = m_bUseTransactions && eResult == EResultCode::Success;
    return eResult;
}

EResultCode SqlitePlugin::commitTransaction(const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    if (endsLost()) {
        return EResultCode::Failure;
    }
    return m_bUseTransactions ? m_oDatabase.commitTransaction() : EResultCode();
}

EResultCode SqlitePlugin::rollbackTransaction(const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    return m_bUseTransactions && !endsLost() ? m_oDatabase.rollbackTransaction() : EResultCode();
}

/// Ends the transaction; true when SQLite has rolled it back already.
bool SqlitePlugin::endsLost()
{
    const bool bLost = hasLostTransaction();
    m_bBegun = false;
    return bLost;
}

EResultCode SqlitePlugin::openRows(std::unique_ptr<IRowCursor>& a_pCursor, const void* a_pHandle,
                                   const std::string& a_sTable, unsigned int a_iFirst, unsigned int a_iCount,
                                   const NameList& a_lColumns)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    return m_oDatabase.openRows(a_pCursor, a_sTable, a_iFirst, a_iCount, a_lColumns);
}

} // namespace systema
