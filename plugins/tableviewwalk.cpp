#include "plugins/tableviewwalk.h"

#include "systema/rowfiller.h"
#include "zel/log.h"

#include <algorithm>
#include <utility>

namespace zel {

using systema::EResultCode;
using systema::NameList;
using systema::Value;
using systema::ValueList;

TableViewWalk::TableViewWalk(systema::ConfigDispatcher& a_oSource, const void* a_pHandle,
                             const TableView& a_oView, TableViewReads& a_oReads, Columns a_lColumns)
    : m_oSource(a_oSource),
      m_pHandle(a_pHandle),
      m_oView(a_oView),
      m_oReads(a_oReads),
      m_lColumns(std::move(a_lColumns)),
      m_iModule(ZEL_Sysloglevel_registerModul("TableView"))
{
}

EResultCode TableViewWalk::setKey(const std::string& a_sColumn, const std::string& a_sValue)
{
    m_pKey = m_oView.getColumn(a_sColumn);
    if (m_pKey == nullptr) {
        return EResultCode::NoKey;
    }
    m_lKeys.add(a_sValue);
    const std::string& sTable = m_oView.getTable(*m_pKey);
    const std::string& sColumn = m_pKey->m_sSourceColumn;
    systema::ColumnList lSchema;
    const EResultCode eResult = m_oReads.ask([&] { return m_oSource.getSchema(lSchema, m_pHandle, sTable); });
    if (eResult != EResultCode::Success) {
        m_eAfterLast = eResult;
    } else if (lSchema.getColumn(sColumn) == nullptr) {
        m_eAfterLast = EResultCode::NoKey;
    } else {
        ValueList oRow;
        const EResultCode eFound = m_oReads.ask(
            [&] { return m_oSource.selectKey(oRow, m_pHandle, sTable, sColumn, a_sValue, {sColumn}); });
        const Value* pValue = oRow.find(sColumn);
        if (eFound == EResultCode::Success && pValue != nullptr) {
            m_lKeys.add(pValue->toText());
        }
    }
    return EResultCode::Success;
}

EResultCode TableViewWalk::open(Clock::time_point a_oEnd)
{
    m_oEnd = a_oEnd;
    const unsigned int iRows = std::min(sourceSize(m_oView.getTable1()), sourceSize(m_oView.getTable2()));
    if (iRows == 0) {
        return EResultCode::Success;
    }
    m_iVersionsAtOpen = getVersions();
    m_lColumns1 = sourceColumns(1, m_oView.getTable1(), m_oView.getColumn1());
    const NameList lColumns2 = sourceColumns(2, m_oView.getTable2(), m_oView.getColumn2());
    return m_oReads.ask(
        [&] { return m_oSource.openRows(m_pRows, m_pHandle, m_oView.getTable2(), 0, iRows, lColumns2); });
}

unsigned int TableViewWalk::sourceSize(const std::string& a_sTable) const
{
    unsigned int iSize = 0;
    const EResultCode eResult = m_oReads.ask([&] { return m_oSource.getSize(iSize, m_pHandle, a_sTable); });
    return eResult == EResultCode::Success ? iSize : 0;
}

unsigned long TableViewWalk::getVersions() const
{
    // Neither ever goes back.
    return m_oSource.getVersion(m_oView.getTable1()) + m_oSource.getVersion(m_oView.getTable2());
}

bool TableViewWalk::isOvertaken() const
{
    return m_pRows != nullptr && getVersions() != m_iVersionsAtOpen;
}

NameList TableViewWalk::sourceColumns(int a_iIndex, const std::string& a_sTable,
                                      const std::string& a_sJoinColumn) const
{
    NameList lNames{a_sJoinColumn};
    const auto add = [&](const TableViewColumns& a_oColumn) {
        if (a_oColumn.m_iIndex == a_iIndex && !lNames.hasName(a_oColumn.m_sSourceColumn)) {
            lNames.add(a_oColumn.m_sSourceColumn);
        }
    };
    for (const auto* pColumn : m_lColumns) {
        add(*pColumn);
    }
    if (m_pKey != nullptr) {
        add(*m_pKey);
    }
    systema::ColumnList lSchema;
    m_oReads.ask([&] { return m_oSource.getSchema(lSchema, m_pHandle, a_sTable); });
    // A stored table would refuse the others for one that it lacks, and a virtual one may have columns that
    // it does not announce: then the rows are read whole, to show what is in them.
    const bool bAnnounced = std::ranges::all_of(
        lNames, [&](const auto& a_sName) { return lSchema.getColumn(a_sName) != nullptr; });
    return bAnnounced ? lNames : NameList();
}

EResultCode TableViewWalk::next()
{
    if (m_pRows == nullptr) {
        return m_eAfterLast;
    }
    const auto oNow = Clock::now();
    m_bLate = oNow >= m_oEnd;
    if (m_bLate) {
        if (oNow >= m_oReads.m_oNextLog) {
            m_oReads.m_oNextLog = oNow + std::chrono::minutes(1);
            ZEL_Sysloglevel_error(m_iModule, here(), "View `%s` takes too long", m_oView.getName().c_str());
        }
        return EResultCode::Failure;
    }
    const EResultCode eResult = m_oReads.ask([&] { return readRow(m_oRow2, *m_pRows); });
    return eResult == EResultCode::NoRow ? m_eAfterLast : eResult;
}

EResultCode TableViewWalk::join()
{
    const Value* pValue = m_oRow2.find(m_oView.getColumn2());
    if (pValue == nullptr) {
        return EResultCode::NoKey;
    }
    if (m_pKey != nullptr && !m_pKey->isOfTable1() && !hasKey()) {
        return EResultCode::NoRow;
    }
    m_oRow1.clear();
    const EResultCode eResult = m_oReads.ask([&] {
        return m_oSource.selectKey(m_oRow1, m_pHandle, m_oView.getTable1(), m_oView.getColumn1(),
                                   pValue->toText(), m_lColumns1);
    });
    return eResult != EResultCode::Success || hasKey() ? eResult : EResultCode(EResultCode::NoRow);
}

bool TableViewWalk::hasKey() const
{
    if (m_pKey == nullptr) {
        return true;
    }
    const Value* pValue = find(*m_pKey);
    return pValue != nullptr && pValue->getType() != systema::EDataType::Null &&
           m_lKeys.hasName(pValue->toText());
}

const Value* TableViewWalk::find(const TableViewColumns& a_oColumn) const
{
    return (a_oColumn.isOfTable1() ? m_oRow1 : m_oRow2).find(a_oColumn.m_sSourceColumn);
}

EResultCode TableViewWalk::fillResult(ValueList& a_oRow) const
{
    for (const auto* pColumn : m_lColumns) {
        const Value* pValue = find(*pColumn);
        if (pValue == nullptr) {
            ZEL_Sysloglevel_error(m_iModule, here(), "Could not find colum `%s` in table `%s`",
                                  pColumn->m_sSourceColumn.c_str(), m_oView.getTable(*pColumn).c_str());
            return EResultCode::NoKey;
        }
        a_oRow.add(pColumn->m_sName, *pValue);
    }
    return EResultCode::Success;
}

} // namespace zel
