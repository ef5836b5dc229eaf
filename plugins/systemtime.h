// The clock as a table of one row, "SystemTime": a read gives the current time, a write sets the clock on the
// next tick.
//
// The time read last and the time to be set share one field: a read between a write and the next tick puts
// the current time in place of the written one. Owned by main. Main thread only. A clock that cannot be set
// is logged, for its client has had its answer.
#pragma once

#include "configmanager/onerowplugin.h"
#include "systema/tabledescription.h"

#include <cstdint>

namespace zel {

class SystemTime : public configmanager::serverlib::OneRowPlugin, public systema::WritableTables
{
public:
    SystemTime();

    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                   const std::string& a_sTable) override;
    /// 0, 1, 8. Position and columns are not looked at: always the whole row.
    systema::EResultCode selectRow(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::NameList& a_lColumns) override;
    /// The same, whatever the key.
    systema::EResultCode selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, const std::string& a_sKeyColumn,
                                   const std::string& a_sKeyValue,
                                   const systema::NameList& a_lColumns) override;

    // Inserts and deletes change nothing. 0, 8.
    systema::EResultCode insertRow(const void* a_pHandle, const std::string& a_sTable,
                                   const systema::ValueList& a_lValues) override;
    systema::EResultCode insertKey(int& a_iId, const void* a_pHandle, const std::string& a_sTable,
                                   const systema::ValueList& a_lValues) override;
    systema::EResultCode deleteRow(const void* a_pHandle, const std::string& a_sTable,
                                   unsigned int a_iIndex) override;
    systema::EResultCode deleteKey(const void* a_pHandle, const std::string& a_sTable,
                                   const std::string& a_sKeyColumn, const std::string& a_sKeyValue) override;
    systema::EResultCode deleteAll(const void* a_pHandle, const std::string& a_sTable) override;

    /// 0; 8; 1 when there is no "Time" or it is no signed integer. Other values are not looked at.
    systema::EResultCode updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::ValueList& a_lValues) override;
    /// The same; 9 when the key is neither "Id", with exactly "1", nor "Time", with any value.
    systema::EResultCode updateKey(const void* a_pHandle, const std::string& a_sTable,
                                   const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                   const systema::ValueList& a_lValues) override;

    /// Sets the clock if a new time waits.
    void tick(systema::NameList& a_lChangedTables) override;

private:
    void setClock() const;

    const int m_iModule;
    bool m_bPending = false;
    std::int32_t m_iTime = 0;
};

} // namespace zel
