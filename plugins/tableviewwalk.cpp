#include "plugins/tableviewwalk.h"

#include "plugins/rowreader.h"
#include "zel/log.h"

#include <algorithm>
#include <utility>

namespace zel {

using systema::EResultCode;
using systema::NameList;
using systema::Value;
using systema::ValueList;

TableViewWalk::TableViewWalk(systema::ConfigDispatcher& a_oSource, const void* a_pHandle,
                             const TableView& a_oView, Columns a_lColumns, const TableViewColumns* a_pKey)
    : m_oSource(a_oSource),
      m_pHandle(a_pHandle),
      m_oView(a_oView),
      m_lColumns(std::move(a_lColumns)),
      m_pKey(a_pKey),
      m_iModule(ZEL_Sysloglevel_registerModul("TableView"))
{
}

EResultCode TableViewWalk::open(unsigned int a_iRows)
{
    if (a_iRows == 0) {
        return EResultCode::Success;
    }
    m_iVersionsAtOpen = getVersions();
    m_lColumns1 = sourceColumns(1, m_oView.getTable1(), m_oView.getColumn1());
    return m_oSource.openRows(m_pRows, m_pHandle, m_oView.getTable2(), 0, a_iRows,
                              sourceColumns(2, m_oView.getTable2(), m_oView.getColumn2()));
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
    m_oSource.getSchema(lSchema, m_pHandle, a_sTable);
    // A stored table would refuse the others for one that it lacks, and a virtual one may have columns that
    // it does not announce: then the rows are read whole, to show what is in them.
    const bool bAnnounced = std::ranges::all_of(
        lNames, [&](const auto& a_sName) { return lSchema.getColumn(a_sName) != nullptr; });
    return bAnnounced ? lNames : NameList();
}

EResultCode TableViewWalk::next()
{
    return m_pRows == nullptr ? EResultCode(EResultCode::NoRow) : readRow(m_oRow2, *m_pRows);
}

EResultCode TableViewWalk::join()
{
    const Value* pValue = m_oRow2.find(m_oView.getColumn2());
    if (pValue == nullptr) {
        return EResultCode::NoKey;
    }
    m_oRow1.clear();
    return m_oSource.selectKey(m_oRow1, m_pHandle, m_oView.getTable1(), m_oView.getColumn1(),
                               pValue->toText(), m_lColumns1);
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
