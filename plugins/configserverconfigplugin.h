// The transaction time-outs of the configuration as two tables of one row each: "ConfigServerConfig", which
// clients may write, and "ConfigServerLimits", the bounds.
//
// Holds no values: reads ask the dispatcher, accepted writes are handed to it at once and are not undone by
// a rollback. Owned by main; the dispatcher must outlive it. Main thread only. Failures are result codes.
#pragma once

#include "configmanager/genericconfigplugin.h"
#include "systema/configdispatcher.h"
#include "systema/tabledescription.h"

namespace zel::cfg {

class ConfigServerConfigPlugin : public configmanager::serverlib::GenericConfigPlugin,
                                 public systema::IDescribedTables
{
public:
    explicit ConfigServerConfigPlugin(systema::ConfigDispatcher& a_oDispatcher);

    void getTables(systema::NameList& a_lTables, const void* a_pHandle) override;
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                   const std::string& a_sTable) override;
    systema::EResultCode getSize(unsigned int& a_iSize, const void* a_pHandle,
                                 const std::string& a_sTable) override;
    /// 0, 8, 9, 10.
    systema::EResultCode selectRow(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::NameList& a_lColumns) override;
    /// 0; 8; 9 for a key column or a wanted column that is not there; 1 when no row has the key.
    systema::EResultCode selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, const std::string& a_sKeyColumn,
                                   const std::string& a_sKeyValue,
                                   const systema::NameList& a_lColumns) override;
    /// "ConfigServerConfig" is writable.
    systema::EResultCode describe(systema::TableDescription& a_oDescription,
                                  const std::string& a_sTable) override;
    /// 0; 8; 4 for the limits and when no time-out is among the values; 10; 9 when a name is no column and 6
    /// when a time-out is no number, and nothing is changed; 1 at the first time-out above the maximum, and
    /// those before it stay changed.
    systema::EResultCode updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::ValueList& a_lValues) override;
    /// 10 when the key names no row, whatever the table; else as updateRow.
    systema::EResultCode updateKey(const void* a_pHandle, const std::string& a_sTable,
                                   const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                   const systema::ValueList& a_lValues) override;

private:
    systema::ConfigDispatcher& m_oDispatcher;
    const int m_iModule;
};

} // namespace zel::cfg
