#include "plugins/configserverconfigplugin.h"

#include "configmanager/columntable.h"
#include "systema/refusal.h"
#include "zel/log.h"

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

namespace zel::cfg {

using configmanager::serverlib::appendSchema;
using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using configmanager::serverlib::findColumn;
using configmanager::serverlib::integer;
using configmanager::serverlib::matchesKey;
using configmanager::serverlib::numberOf;
using configmanager::serverlib::selectColumns;
using systema::ConfigDispatcher;
using systema::EDataType;
using systema::EResultCode;

namespace {

constexpr Column<ConfigDispatcher> c_aSettings[] = {
    {"Id", EDataType::Integer, [](const ConfigDispatcher&) { return integer(1); }},
    column<&ConfigDispatcher::getTransactionTimeout>("TransactionTimeout"),
    column<&ConfigDispatcher::getDefaultTransactionTimeout>("DefaultTransactionTimeout"),
};

constexpr const char* c_pMinimum = "MinAllowedTransactionTimeout";

constexpr Column<ConfigDispatcher> c_aLimits[] = {
    {"Id", EDataType::Integer, [](const ConfigDispatcher&) { return integer(1); }},
    {c_pMinimum, EDataType::Integer,
     [](const ConfigDispatcher&) { return integer(ConfigDispatcher::c_iMinTransactionTimeout); }},
    {"MaxAllowedTransactionTimeout", EDataType::Integer,
     [](const ConfigDispatcher&) { return integer(ConfigDispatcher::c_iMaxTransactionTimeout); }},
};

struct Table
{
    const char* m_pName;
    std::span<const Column<ConfigDispatcher>> m_lColumns;
};

constexpr Table c_aTables[] = {
    {"ConfigServerConfig", c_aSettings},
    {"ConfigServerLimits", c_aLimits},
};
constexpr const Table& c_oLimits = c_aTables[1];

struct Setter
{
    const char* m_pName;
    void (ConfigDispatcher::*m_pSet)(long);
};

constexpr Setter c_aSetters[] = {
    {"TransactionTimeout", &ConfigDispatcher::setTransactionTimeout},
    {"DefaultTransactionTimeout", &ConfigDispatcher::setDefaultTransactionTimeout},
};

/// The entry of the name, null when there is none.
template<class Entry, std::size_t Size>
const Entry* find(const Entry (&a_aEntries)[Size], std::string_view a_sName)
{
    const Entry* pEntry = std::ranges::find(a_aEntries, a_sName, &Entry::m_pName);
    return pEntry == std::end(a_aEntries) ? nullptr : pEntry;
}

} // namespace

ConfigServerConfigPlugin::ConfigServerConfigPlugin(ConfigDispatcher& a_oDispatcher)
    : m_oDispatcher(a_oDispatcher),
      m_iModule(ZEL_Sysloglevel_registerModul("ledgerdcfg"))
{
}

EResultCode ConfigServerConfigPlugin::describe(systema::TableDescription& a_oDescription,
                                               const std::string& a_sTable)
{
    a_oDescription.m_bWritable = a_sTable != c_oLimits.m_pName;
    if (!a_oDescription.m_bWritable) { // its row is constant
        systema::setUnannounced(a_oDescription);
    }
    return EResultCode::Success;
}

void ConfigServerConfigPlugin::getTables(systema::NameList& a_lTables, const void* a_pHandle)
{
    assertCall(a_pHandle);
    for (const auto& oTable : c_aTables) {
        a_lTables.add(oTable.m_pName);
    }
}

EResultCode ConfigServerConfigPlugin::getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                                const std::string& a_sTable)
{
    assertCall(a_pHandle);
    const Table* pTable = find(c_aTables, a_sTable);
    if (pTable == nullptr) {
        return EResultCode::NoTable;
    }
    appendSchema(a_lColumns, pTable->m_lColumns);
    return EResultCode::Success;
}

EResultCode ConfigServerConfigPlugin::getSize(unsigned int& a_iSize, const void* a_pHandle,
                                              const std::string& a_sTable)
{
    assertCall(a_pHandle);
    if (find(c_aTables, a_sTable) == nullptr) {
        return EResultCode::NoTable;
    }
    a_iSize = 1;
    return EResultCode::Success;
}

EResultCode ConfigServerConfigPlugin::selectRow(systema::ValueList& a_lRow, const void* a_pHandle,
                                                const std::string& a_sTable, unsigned int a_iIndex,
                                                const systema::NameList& a_lColumns)
{
    assertCall(a_pHandle);
    const Table* pTable = find(c_aTables, a_sTable);
    if (pTable == nullptr) {
        return EResultCode::NoTable;
    }
    if (a_iIndex != 0) {
        return EResultCode::NoRow;
    }
    return selectColumns(a_lRow, m_oDispatcher, pTable->m_lColumns, a_lColumns);
}

EResultCode ConfigServerConfigPlugin::selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                                const std::string& a_sTable, const std::string& a_sKeyColumn,
                                                const std::string& a_sKeyValue,
                                                const systema::NameList& a_lColumns)
{
    assertCall(a_pHandle);
    const Table* pTable = find(c_aTables, a_sTable);
    if (pTable == nullptr) {
        return EResultCode::NoTable;
    }
    const auto* pColumn = findColumn(pTable->m_lColumns, a_sKeyColumn);
    if (pColumn == nullptr) {
        return EResultCode::NoKey;
    }
    // 1 where other tables answer 10: what the clients of these two know.
    return matchesKey(pColumn->m_pGet(m_oDispatcher), a_sKeyValue)
               ? selectRow(a_lRow, a_pHandle, a_sTable, 0, a_lColumns)
               : EResultCode(EResultCode::Failure);
}

EResultCode ConfigServerConfigPlugin::updateRow(const void* a_pHandle, const std::string& a_sTable,
                                                unsigned int a_iIndex, const systema::ValueList& a_lValues)
{
    assertCall(a_pHandle);
    const Table* pTable = find(c_aTables, a_sTable);
    if (pTable == nullptr) {
        return EResultCode::NoTable;
    }
    if (pTable == &c_oLimits) {
        return EResultCode::ReadOnly;
    }
    if (a_iIndex != 0) {
        return EResultCode::NoRow;
    }
    for (const auto& [sName, oValue] : a_lValues) {
        if (findColumn(pTable->m_lColumns, sName) == nullptr) {
            return EResultCode::NoKey;
        }
    }
    for (const auto& [sName, oValue] : a_lValues) {
        if (find(c_aSetters, sName) != nullptr && !numberOf(oValue)) {
            return systema::noteRefusal(EResultCode::Constraint, sName + " has to be a number");
        }
    }
    bool bApplied = false;
    for (const auto& [sName, oValue] : a_lValues) {
        const Setter* pSetter = find(c_aSetters, sName);
        if (pSetter == nullptr) {
            continue;
        }
        // Only the upper limit is refused: a value under the lower one is the dispatcher's to raise.
        const long iSeconds = static_cast<long>(*numberOf(oValue));
        if (iSeconds > ConfigDispatcher::c_iMaxTransactionTimeout) {
            return systema::noteRefusal(EResultCode::Failure,
                                        sName + " is at most " +
                                            std::to_string(ConfigDispatcher::c_iMaxTransactionTimeout) +
                                            " seconds");
        }
        (m_oDispatcher.*pSetter->m_pSet)(iSeconds);
        ZEL_Sysloglevel_debug(m_iModule, zel::here(), "%s set to %ld s", pSetter->m_pName, iSeconds);
        bApplied = true;
    }
    return bApplied ? EResultCode::Success : EResultCode::ReadOnly;
}

EResultCode ConfigServerConfigPlugin::updateKey(const void* a_pHandle, const std::string& a_sTable,
                                                const std::string& a_sKeyColumn,
                                                const std::string& a_sKeyValue,
                                                const systema::ValueList& a_lValues)
{
    assertCall(a_pHandle);
    // The key is tested before the table is looked at, and clients may name the row by a column of either
    // table, all but the minimum.
    const auto* pColumn = findColumn(c_aSettings, a_sKeyColumn);
    if (pColumn == nullptr) {
        pColumn = findColumn(c_aLimits, a_sKeyColumn);
    }
    if (pColumn == nullptr || a_sKeyColumn == c_pMinimum ||
        !matchesKey(pColumn->m_pGet(m_oDispatcher), a_sKeyValue)) {
        return EResultCode::NoRow;
    }
    return updateRow(a_pHandle, a_sTable, 0, a_lValues);
}

} // namespace zel::cfg
