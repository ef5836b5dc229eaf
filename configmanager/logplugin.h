// The registry of the daemon's log modules and the table "ConfigmanagerLogging", in which clients read and
// change their trace levels.
//
// main makes it before all other plugins and hands it to the components as their logger; it must outlive
// them. Main thread only. The table has one row: "Id" and a column per registered module, so its schema
// grows while components register. Failures are result codes; nothing is logged.
#pragma once

#include "configmanager/ilogger.h"
#include "configmanager/onerowplugin.h"
#include "systema/tabledescription.h"

#include <map>

namespace configmanager::logplugin {

class LogPlugin : public serverlib::ILogger, public serverlib::OneRowPlugin, public systema::WritableTables
{
public:
    LogPlugin();

    bool registerModule(const std::string& a_sName, LogLevel a_iLevel) override;

    /// Sets the trace level of the module in the process logger; the table does not show it.
    void changeLogLevel(const std::string& a_sName, LogLevel a_iLevel) const;

    /// Writes what the logger has held back.
    void tick(systema::NameList& a_lChangedTables) override;
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                   const std::string& a_sTable) override;
    /// The one row, whatever the position. The columns come in table order, names that match nothing are
    /// left out. 0, 8.
    systema::EResultCode selectRow(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::NameList& a_lColumns) override;
    /// 0; 8; 10 also for a key column that is not there.
    systema::EResultCode selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, const std::string& a_sKeyColumn,
                                   const std::string& a_sKeyValue,
                                   const systema::NameList& a_lColumns) override;
    /// Sets the levels in the order given, whatever the position. 0; 8; 9 at the first name that is no
    /// module, 6 at the first value that is no number or beyond those of the column, and the levels before it
    /// stay set. A level is a number of 0 to 1023.
    systema::EResultCode updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::ValueList& a_lValues) override;

private:
    systema::EResultCode refuse(const void* a_pHandle) const override;

    std::map<std::string, LogLevel> m_mLevels;
};

} // namespace configmanager::logplugin
