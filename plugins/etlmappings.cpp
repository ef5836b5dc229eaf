#include "plugins/etlmappings.h"

#include "zel/log.h"

#include <algorithm>
#include <utility>

namespace zel {

using systema::EResultCode;
using systema::Value;
using systema::ValueList;

EtlMappings::EtlMappings(systema::ConfigPluginBase& a_oDispatcher, const void* a_pHandle)
    : m_oDispatcher(a_oDispatcher),
      m_pHandle(a_pHandle),
      m_iModule(ZEL_Sysloglevel_registerModul("EtlMappings"))
{
    for (unsigned iIndex = 0;; ++iIndex) {
        ValueList lRow;
        if (m_oDispatcher.selectRow(lRow, m_pHandle, "EtlMapping", iIndex, {}) != EResultCode::Success) {
            break;
        }
        if (iIndex == c_iMostMappings) {
            ZEL_Sysloglevel_error(m_iModule, here(), "EtlMapping has more than %u rows; the rest is left out",
                                  c_iMostMappings);
            break;
        }
        const auto field = [&](const char* a_pName) { return lRow.toText(a_pName); };
        add(field("EtlValue"), field("TargetTable"), field("TargetColumn"), field("KeyColumn"),
            field("KeyValue"), field("TargetColumnHash"), field("KeyColumnHash"));
    }
}

void EtlMappings::add(std::string a_sEtlValue, std::string a_sTargetTable, std::string a_sTargetColumn,
                      std::string a_sKeyColumn, std::string a_sKeyValue, std::string a_sTargetColumnHash,
                      std::string a_sKeyColumnHash)
{
    m_lMappings.push_back({std::move(a_sEtlValue), std::move(a_sTargetTable), std::move(a_sTargetColumn),
                           std::move(a_sKeyColumn), std::move(a_sKeyValue), std::move(a_sTargetColumnHash),
                           std::move(a_sKeyColumnHash)});
}

const EtlMappings::EtlMap* EtlMappings::findEtlValue(const std::string& a_sName) const
{
    const auto it = std::ranges::find(m_lMappings, a_sName, &EtlMap::m_sEtlValue);
    return it == m_lMappings.end() ? nullptr : &*it;
}

bool EtlMappings::hasEmptyTarget(const std::string& a_sName) const
{
    const EtlMap* pMap = findEtlValue(a_sName);
    return pMap != nullptr && findEmptyTarget(*pMap).has_value();
}

/// What is in the target now, nothing when that is not there or not empty.
std::optional<Value> EtlMappings::findEmptyTarget(const EtlMap& a_oMap) const
{
    ValueList lRow;
    if (m_oDispatcher.selectKey(lRow, m_pHandle, a_oMap.m_sTargetTable, a_oMap.m_sKeyColumn,
                                a_oMap.m_sKeyValue, {}) != EResultCode::Success) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Could not find target: %s, %s, %s",
                              a_oMap.m_sTargetTable.c_str(), a_oMap.m_sKeyColumn.c_str(),
                              a_oMap.m_sKeyValue.c_str());
        return std::nullopt;
    }
    const Value* pOld = lRow.find(a_oMap.m_sTargetColumn);
    if (pOld == nullptr) {
        ZEL_Sysloglevel_error(m_iModule, here(), "The target %s has no column %s",
                              a_oMap.m_sTargetTable.c_str(), a_oMap.m_sTargetColumn.c_str());
        return std::nullopt;
    }
    return pOld->toText().empty() ? std::optional(*pOld) : std::nullopt; // a number is set, too
}

void EtlMappings::updateTarget(const std::string& a_sName, const std::string& a_sValue) const
{
    const EtlMap* pMap = a_sValue.empty() ? nullptr : findEtlValue(a_sName);
    auto oTarget = pMap == nullptr ? std::nullopt : findEmptyTarget(*pMap);
    if (!oTarget) {
        return;
    }
    oTarget->setText(a_sValue);
    ValueList lValues;
    lValues.add(pMap->m_sTargetColumn, std::move(*oTarget));
    const EResultCode eResult = m_oDispatcher.updateKey(m_pHandle, pMap->m_sTargetTable, pMap->m_sKeyColumn,
                                                        pMap->m_sKeyValue, lValues);
    if (eResult != EResultCode::Success) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Could not set %s of %s, %s, %s: %s",
                              pMap->m_sTargetColumn.c_str(), pMap->m_sTargetTable.c_str(),
                              pMap->m_sKeyColumn.c_str(), pMap->m_sKeyValue.c_str(), eResult.strerror());
    }
}

} // namespace zel
