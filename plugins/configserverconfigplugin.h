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

    void getTables(systema::NameList& a_tables, const void* a_handle) override;
    systema::EResultCode getSchema(systema::ColumnList& a_columns, const void* a_handle,
                                   const std::string& a_table) override;
    systema::EResultCode getSize(unsigned int& a_size, const void* a_handle,
                                 const std::string& a_table) override;
    /// 0, 8, 9, 10.
    systema::EResultCode selectRow(systema::ValueList& a_row, const void* a_handle,
                                   const std::string& a_table, unsigned int a_index,
                                   const systema::NameList& a_columns) override;
    /// 0; 8; 9 for a key column or a wanted column that is not there; 1 when no row has the key.
    systema::EResultCode selectKey(systema::ValueList& a_row, const void* a_handle,
                                   const std::string& a_table, const std::string& a_keyColumn,
                                   const std::string& a_keyValue,
                                   const systema::NameList& a_columns) override;
    /// "ConfigServerConfig" is writable.
    systema::EResultCode describe(systema::TableDescription& a_oDescription,
                                  const std::string& a_table) override;
    /// 0; 8; 4 for the limits and when no time-out is among the values; 10; 9 when a name is no column and 6
    /// when a time-out is no number, and nothing is changed; 1 at the first time-out above the maximum, and
    /// those before it stay changed.
    systema::EResultCode updateRow(const void* a_handle, const std::string& a_table, unsigned int a_index,
                                   const systema::ValueList& a_values) override;
    /// 10 when the key names no row, whatever the table; else as updateRow.
    systema::EResultCode updateKey(const void* a_handle, const std::string& a_table,
                                   const std::string& a_keyColumn, const std::string& a_keyValue,
                                   const systema::ValueList& a_values) override;

private:
    systema::ConfigDispatcher& m_oDispatcher;
    const int m_iModule;
};

} // namespace zel::cfg
