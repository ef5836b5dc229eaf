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

void DeviceInfoPlugin::getTables(systema::NameList& a_tables, const void* a_handle)
{
    assertCall(a_handle);
    for (const auto& pProvider : m_lProviders) {
        pProvider->getTables(a_tables);
    }
}

EResultCode DeviceInfoPlugin::getSchema(systema::ColumnList& a_columns, const void* a_handle,
                                        const std::string& a_table)
{
    assertCall(a_handle);
    const auto* pProvider = find(a_table);
    return pProvider == nullptr ? EResultCode(EResultCode::NoTable) : pProvider->getSchema(a_columns);
}

EResultCode DeviceInfoPlugin::getSize(unsigned int& a_size, const void* a_handle, const std::string& a_table)
{
    assertCall(a_handle);
    const auto* pProvider = find(a_table);
    return pProvider == nullptr ? EResultCode(EResultCode::NoTable) : pProvider->getSize(a_size);
}

EResultCode DeviceInfoPlugin::selectRow(systema::ValueList& a_row, const void* a_handle,
                                        const std::string& a_table, unsigned int a_index,
                                        const systema::NameList& a_columns)
{
    assertCall(a_handle);
    const auto* pProvider = find(a_table);
    return pProvider == nullptr ? EResultCode(EResultCode::NoTable)
                                : pProvider->selectRow(a_row, a_index, a_columns);
}

EResultCode DeviceInfoPlugin::selectKey(systema::ValueList& a_row, const void* a_handle,
                                        const std::string& a_table, const std::string& a_keyColumn,
                                        const std::string& a_keyValue, const systema::NameList& a_columns)
{
    systema::ValueList lKey;
    if (const EResultCode eCode = selectRow(lKey, a_handle, a_table, 0, {a_keyColumn})) {
        return eCode;
    }
    return matchesKey(lKey.begin()->second, a_keyValue) ? selectRow(a_row, a_handle, a_table, 0, a_columns)
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
