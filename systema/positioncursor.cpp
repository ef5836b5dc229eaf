#include "systema/positioncursor.h"

#include <algorithm>

namespace systema {

PositionCursor::PositionCursor(ConfigPluginBase& a_oPlugin, const void* a_pHandle,
                               const std::string& a_sTable, unsigned int a_iFirst, unsigned int a_iCount,
                               const NameList& a_lWanted, const unsigned long& a_iVersion)
    : m_oPlugin(a_oPlugin),
      m_pHandle(a_pHandle),
      m_sTable(a_sTable),
      m_lWanted(a_lWanted),
      m_iPosition(a_iFirst),
      m_iLeft(a_iCount),
      m_iVersion(a_iVersion),
      m_iVersionAtOpen(a_iVersion)
{
}

EResultCode PositionCursor::open(std::unique_ptr<IRowCursor>& a_pCursor, ConfigPluginBase& a_oPlugin,
                                 const void* a_pHandle, const std::string& a_sTable, unsigned int a_iFirst,
                                 unsigned int a_iCount, const NameList& a_lColumns,
                                 const unsigned long& a_iVersion)
{
    // The size bounds the read: some tables of one row do not look at the position.
    unsigned int iSize = 0;
    if (const EResultCode eResult = a_oPlugin.getSize(iSize, a_pHandle, a_sTable);
        eResult != EResultCode::Success) {
        return eResult;
    }
    const unsigned int iCount = std::min(a_iCount, iSize - std::min(a_iFirst, iSize));
    std::unique_ptr<PositionCursor> pCursor(
        new PositionCursor(a_oPlugin, a_pHandle, a_sTable, a_iFirst, iCount, a_lColumns, a_iVersion));
    const EResultCode eResult = pCursor->readRow();
    if (eResult == EResultCode::Success) {
        // The names come from a row, not from the schema: a table may serve columns it does not announce.
        for (const auto& [sName, oValue] : pCursor->m_lRow) {
            pCursor->m_lColumns.add(sName);
        }
    } else if (eResult != EResultCode::NoRow) {
        return eResult;
    } else if (a_lColumns.empty()) {
        ColumnList lSchema;
        a_oPlugin.getSchema(lSchema, a_pHandle, a_sTable);
        for (const auto& [sName, eType] : lSchema) {
            pCursor->m_lColumns.add(sName);
        }
    } else {
        pCursor->m_lColumns = a_lColumns;
    }
    a_pCursor = std::move(pCursor);
    return EResultCode::Success;
}

EResultCode PositionCursor::readRow()
{
    m_lRow.clear();
    m_eRow = m_oPlugin.selectRow(m_lRow, m_pHandle, m_sTable, m_iPosition, m_lWanted);
    return m_eRow;
}

EResultCode PositionCursor::fetch(IRowSink& a_oSink)
{
    if (m_iVersion != m_iVersionAtOpen) {
        return EResultCode::Busy;
    }
    const auto oEnd = std::chrono::steady_clock::now() + c_oFetchTime;
    if (m_eRow == EResultCode::Pending) {
        readRow();
    }
    while (m_iLeft > 0 && m_eRow == EResultCode::Success) {
        addRow(a_oSink);
        const bool bRoom = a_oSink.endRow();
        if (--m_iLeft > 0) {
            ++m_iPosition;
            readRow();
        }
        if (!bRoom || std::chrono::steady_clock::now() >= oEnd) {
            return EResultCode::Success;
        }
    }
    return m_iLeft == 0 ? EResultCode(EResultCode::NoRow) : m_eRow;
}

void PositionCursor::addRow(IRowSink& a_oSink) const
{
    const Value oNull(EDataType::Null);
    auto it = m_lRow.begin(); // rows of one table have their columns in one order, so that this is in step
    for (const auto& sName : m_lColumns) {
        const bool bInStep = it != m_lRow.end() && it->first == sName;
        const Value* pValue = bInStep ? &(it++)->second : m_lRow.find(sName);
        a_oSink.addValue(pValue != nullptr ? *pValue : oNull);
    }
}

} // namespace systema
