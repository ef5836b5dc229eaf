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
        const auto field = [&](const char* a_pName) {
            const Value* pValue = lRow.find(a_pName);
            return pValue == nullptr ? std::string() : pValue->toText();
        };
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

void EtlMappings::updateTarget(const std::string& a_sName, const std::string& a_sValue) const
{
    const EtlMap* pMap = findEtlValue(a_sName);
    if (pMap == nullptr) {
        return;
    }
    ValueList lRow;
    if (m_oDispatcher.selectKey(lRow, m_pHandle, pMap->m_sTargetTable, pMap->m_sKeyColumn, pMap->m_sKeyValue,
                                {}) != EResultCode::Success) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Could not find target: %s, %s, %s",
                              pMap->m_sTargetTable.c_str(), pMap->m_sKeyColumn.c_str(),
                              pMap->m_sKeyValue.c_str());
        return;
    }
    const Value* pOld = lRow.find(pMap->m_sTargetColumn);
    if (pOld == nullptr) {
        ZEL_Sysloglevel_error(m_iModule, here(), "The target %s has no column %s",
                              pMap->m_sTargetTable.c_str(), pMap->m_sTargetColumn.c_str());
        return;
    }
    Value oNew = *pOld;
    oNew.setText(a_sValue);
    if (!pOld->toText().empty() || oNew == *pOld) { // a number is set, too
        return;
    }
    ValueList lValues;
    lValues.add(pMap->m_sTargetColumn, std::move(oNew));
    const EResultCode eResult = m_oDispatcher.updateKey(m_pHandle, pMap->m_sTargetTable, pMap->m_sKeyColumn,
                                                        pMap->m_sKeyValue, lValues);
    if (eResult != EResultCode::Success) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Could not set %s of %s, %s, %s: %s",
                              pMap->m_sTargetColumn.c_str(), pMap->m_sTargetTable.c_str(),
                              pMap->m_sKeyColumn.c_str(), pMap->m_sKeyValue.c_str(), eResult.strerror());
    }
}

} // namespace zel
