#include "plugins/deviceinfoplugin.h"

#include "configmanager/columntable.h"
#include "plugins/bootloaderinfo.h"
#include "plugins/environment.h"
#include "plugins/etlwrapper.h"
#include "plugins/versioninfo.h"

#include <algorithm>

namespace zel {

using configmanager::serverlib::matchesKey;
using systema::EResultCode;

DeviceInfoPlugin::DeviceInfoPlugin(systema::ConfigPluginBase& a_oDispatcher)
{
    m_lProviders.push_back(std::make_unique<EtlWrapper>(a_oDispatcher));
    m_lProviders.push_back(std::make_unique<Environment>());
    m_lProviders.push_back(std::make_unique<BootLoader>());
    m_lProviders.push_back(std::make_unique<VersionInfo>());
}

void DeviceInfoPlugin::getTables(systema::NameList& a_lTables, const void* a_pHandle)
{
    assertCall(a_pHandle);
    for (const auto& pProvider : m_lProviders) {
        pProvider->getTables(a_lTables);
    }
}

EResultCode DeviceInfoPlugin::getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                        const std::string& a_sTable)
{
    assertCall(a_pHandle);
    const auto* pProvider = find(a_sTable);
    return pProvider == nullptr ? EResultCode(EResultCode::NoTable) : pProvider->getSchema(a_lColumns);
}

EResultCode DeviceInfoPlugin::getSize(unsigned int& a_iSize, const void* a_pHandle,
                                      const std::string& a_sTable)
{
    assertCall(a_pHandle);
    const auto* pProvider = find(a_sTable);
    return pProvider == nullptr ? EResultCode(EResultCode::NoTable) : pProvider->getSize(a_iSize);
}

EResultCode DeviceInfoPlugin::selectRow(systema::ValueList& a_lRow, const void* a_pHandle,
                                        const std::string& a_sTable, unsigned int a_iIndex,
                                        const systema::NameList& a_lColumns)
{
    assertCall(a_pHandle);
    const auto* pProvider = find(a_sTable);
    return pProvider == nullptr ? EResultCode(EResultCode::NoTable)
                                : pProvider->selectRow(a_lRow, a_iIndex, a_lColumns);
}

EResultCode DeviceInfoPlugin::selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                        const std::string& a_sTable, const std::string& a_sKeyColumn,
                                        const std::string& a_sKeyValue, const systema::NameList& a_lColumns)
{
    systema::ValueList lKey;
    if (const EResultCode eCode = selectRow(lKey, a_pHandle, a_sTable, 0, {a_sKeyColumn})) {
        return eCode;
    }
    return matchesKey(lKey.begin()->second, a_sKeyValue)
               ? selectRow(a_lRow, a_pHandle, a_sTable, 0, a_lColumns)
               : EResultCode(EResultCode::NoRow);
}

bool DeviceInfoPlugin::initialize()
{
    for (const auto& pProvider : m_lProviders) {
        if (!pProvider->loaded()) {
            pProvider->load();
        }
    }
    return true;
}

/// The first provider of the table, null when there is none.
const IDeviceInfoPlugin* DeviceInfoPlugin::find(const std::string& a_sTable) const
{
    const auto it = std::ranges::find_if(
        m_lProviders, [&](const auto& a_pProvider) { return a_pProvider->hasTable(a_sTable); });
    return it == m_lProviders.end() ? nullptr : it->get();
}

} // namespace zel
