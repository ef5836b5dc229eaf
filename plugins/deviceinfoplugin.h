// Device and software as four tables of one row each: "etl", "Environment", "BootLoaderInfo" and
// "SoftwareVersion".
//
// Each is read once, when the plugin is initialised, by when the databases must be served; what keeps the
// daemon from going on is thrown then. Owned by main. Main thread only.
#pragma once

#include "configmanager/genericconfigplugin.h"
#include "plugins/ideviceinfoplugin.h"
#include "systema/tabledescription.h"

#include <memory>
#include <vector>

namespace zel {

class DeviceInfoPlugin : public configmanager::serverlib::GenericConfigPlugin,
                         public systema::UnannouncedTables
{
public:
    /// The dispatcher, which must outlive the plugin, serves the tables that factory values go to.
    explicit DeviceInfoPlugin(systema::ConfigPluginBase& a_oDispatcher);

    void getTables(systema::NameList& a_lTables, const void* a_pHandle) override;
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                   const std::string& a_sTable) override;
    systema::EResultCode getSize(unsigned int& a_iSize, const void* a_pHandle,
                                 const std::string& a_sTable) override;
    /// 0, 8, 9, 10.
    systema::EResultCode selectRow(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::NameList& a_lColumns) override;
    /// Every column is a key. 0; 8; 9 for an unknown column, wanted or key; 10 when the row does not show the
    /// key.
    systema::EResultCode selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, const std::string& a_sKeyColumn,
                                   const std::string& a_sKeyValue,
                                   const systema::NameList& a_lColumns) override;
    bool initialize() override;

private:
    const IDeviceInfoPlugin* find(const std::string& a_sTable) const;

    std::vector<std::unique_ptr<IDeviceInfoPlugin>> m_lProviders;
};

} // namespace zel
