#include "configmanager/logplugin.h"

#include "configmanager/columntable.h"
#include "systema/refusal.h"
#include "zel/log.h"

#include <string>
#include <utility>

namespace configmanager::logplugin {

using serverlib::integer;
using serverlib::matchesKey;
using serverlib::numberOf;
using systema::EDataType;
using systema::EResultCode;

namespace {

constexpr const char* c_pId = "Id";

} // namespace

// The writes that it does not support give 1, not the 4 of other tables: the table can be written, if only
// by position.
LogPlugin::LogPlugin() : OneRowPlugin("ConfigmanagerLogging", EResultCode::Failure) {}

bool LogPlugin::registerModule(const std::string& a_sName, LogLevel a_iLevel)
{
    m_mLevels.try_emplace(a_sName, a_iLevel);
    return true;
}

void LogPlugin::changeLogLevel(const std::string& a_sName, LogLevel a_iLevel) const
{
    ZEL_Sysloglevel_changeTracelevel(a_sName.c_str(), a_iLevel);
}

void LogPlugin::tick(systema::NameList&)
{
    ZEL_Sysloglevel_flush();
}

EResultCode LogPlugin::getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                 const std::string& a_sTable)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    a_lColumns.add(c_pId, EDataType::Integer);
    for (const auto& [sName, iLevel] : m_mLevels) {
        a_lColumns.add(sName, EDataType::Integer);
    }
    return EResultCode::Success;
}

EResultCode LogPlugin::selectRow(systema::ValueList& a_lRow, const void* a_pHandle,
                                 const std::string& a_sTable, unsigned int,
                                 const systema::NameList& a_lColumns)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    // The list only filters: a client may ask for a module that has not registered yet.
    const auto addWanted = [&](const std::string& a_sName, int a_iNumber) {
        if (a_lColumns.empty() || a_lColumns.hasName(a_sName)) {
            a_lRow.add(a_sName, integer(a_iNumber));
        }
    };
    addWanted(c_pId, 1);
    for (const auto& [sName, iLevel] : m_mLevels) {
        addWanted(sName, iLevel);
    }
    return EResultCode::Success;
}

EResultCode LogPlugin::selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                 const std::string& a_sTable, const std::string& a_sKeyColumn,
                                 const std::string& a_sKeyValue, const systema::NameList& a_lColumns)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    const auto it = m_mLevels.find(a_sKeyColumn);
    const bool bFound = (a_sKeyColumn == c_pId && matchesKey(integer(1), a_sKeyValue)) ||
                        (it != m_mLevels.end() && matchesKey(integer(it->second), a_sKeyValue));
    // A module that has not registered is a row that is not there yet, so 10 and not 9.
    return bFound ? selectRow(a_lRow, a_pHandle, a_sTable, 0, a_lColumns) : EResultCode(EResultCode::NoRow);
}

EResultCode LogPlugin::refuse(const void* a_pHandle) const
{
    return systema::noteRefusal(
        OneRowPlugin::refuse(a_pHandle),
        "the one row can be changed, by its position, but is neither added nor deleted");
}

EResultCode LogPlugin::updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int,
                                 const systema::ValueList& a_lValues)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    for (const auto& [sName, oValue] : a_lValues) {
        const auto it = m_mLevels.find(sName);
        if (it == m_mLevels.end()) {
            return EResultCode::NoKey; // "Id" too: it is a column, but no module
        }
        const auto oNumber = numberOf(oValue);
        if (!oNumber || *oNumber < 0 || *oNumber > zel::c_iTraceLevelVerbose) {
            return systema::noteRefusal(EResultCode::Constraint,
                                        sName + " has to be a number of 0 to " +
                                            std::to_string(zel::c_iTraceLevelVerbose));
        }
        // An equal level is left alone: the process logger may have been set to another one meanwhile.
        if (const auto iLevel = static_cast<LogLevel>(*oNumber); iLevel != it->second) {
            it->second = iLevel;
            changeLogLevel(sName, iLevel);
        }
    }
    return EResultCode::Success;
}

} // namespace configmanager::logplugin
