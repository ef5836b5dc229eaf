#include "plugins/tableviewdefinitions.h"

#include "systema/rowfiller.h"
#include "zel/log.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace zel {

using systema::EResultCode;
using systema::Value;
using systema::ValueList;

namespace {

int numberOf(const ValueList& a_lRow, const char* a_pColumn)
{
    const Value* pValue = a_lRow.find(a_pColumn);
    return pValue == nullptr ? 0 : pValue->getInteger();
}

/// Memory that the objects made of one definition row take, without its texts.
constexpr std::size_t c_iRowBytes = 128;

std::size_t bytesOf(const ValueList& a_lRow)
{
    std::size_t iBytes = c_iRowBytes;
    for (const auto& [sName, oValue] : a_lRow) {
        iBytes += oValue.getText().size();
    }
    return iBytes;
}

} // namespace

std::vector<TableView> TableViewDefinitions::read()
{
    readRows(c_pViewNames, [this](const ValueList& a_lRow) { addView(a_lRow); });
    readRows(c_pViewColumns, [this](const ValueList& a_lRow) { addColumn(a_lRow); });
    std::vector<TableView> lViews;
    for (std::size_t i = 0; i < m_lViews.size(); ++i) {
        TableView& oView = m_lViews[i].m_oView;
        const std::string sObstacle = findObstacle(i);
        if (sObstacle.empty()) {
            m_mTaken.emplace(oView.getName(), i);
            lViews.push_back(std::move(oView));
        } else {
            ZEL_Sysloglevel_error(m_iModule, here(), "View `%s` is left out: %s", oView.getName().c_str(),
                                  sObstacle.c_str());
        }
    }
    if (m_iBeyond > 0) {
        ZEL_Sysloglevel_error(m_iModule, here(), "The last %u views are left out: all may take %zu KiB",
                              m_iBeyond, c_iMostBytes / 1024);
    }
    return lViews;
}

void TableViewDefinitions::readRows(const char* a_pTable, const std::function<void(const ValueList&)>& a_oAdd)
{
    std::unique_ptr<systema::IRowCursor> pRows;
    EResultCode eResult = m_oDispatcher.openRows(pRows, this, a_pTable, 0, systema::c_iAllRows, {});
    for (ValueList lRow; eResult == EResultCode::Success;) {
        eResult = systema::readRow(lRow, *pRows);
        if (eResult == EResultCode::Success) {
            a_oAdd(lRow);
        }
    }
    if (eResult != EResultCode::NoRow && eResult != EResultCode::NoTable) { // which is logged already
        ZEL_Sysloglevel_error(m_iModule, here(), "%s cannot be read: %s", a_pTable, eResult.strerror());
    }
}

bool TableViewDefinitions::take(std::size_t a_iBytes)
{
    const bool bRoom = a_iBytes <= c_iMostBytes - m_iBytes;
    m_iBytes += bRoom ? a_iBytes : 0;
    return bRoom;
}

void TableViewDefinitions::addView(const ValueList& a_lDefinition)
{
    if (m_iBeyond > 0 || !take(sizeof(Entry) + bytesOf(a_lDefinition))) {
        ++m_iBeyond;
        return;
    }
    const int iId = numberOf(a_lDefinition, "Id");
    m_mById.emplace(iId, m_lViews.size());
    m_mLastOfName[a_lDefinition.toText("Name")] = m_lViews.size();
    m_lViews.push_back({TableView(a_lDefinition), iId});
}

void TableViewDefinitions::addColumn(const ValueList& a_lDefinition)
{
    const auto [itFirst, itEnd] = m_mById.equal_range(numberOf(a_lDefinition, "ViewNamesId"));
    for (auto it = itFirst; it != itEnd; ++it) {
        Entry& oEntry = m_lViews[it->second];
        oEntry.m_bWhole = oEntry.m_bWhole && take(bytesOf(a_lDefinition));
        if (oEntry.m_bWhole) {
            oEntry.m_oView.addColumn(a_lDefinition.toText("ColName"),
                                     numberOf(a_lDefinition, "SrcTableIndex"),
                                     a_lDefinition.toText("SrcCol"));
        }
    }
}

std::string TableViewDefinitions::findObstacle(std::size_t a_iView)
{
    Entry& oEntry = m_lViews[a_iView];
    const TableView& oView = oEntry.m_oView;
    if (oView.getName().empty()) {
        return "it has no name";
    }
    if (m_mTaken.contains(oView.getName()) || m_oDispatcher.hasTable(oView.getName())) {
        return "there is a table or view of that name";
    }
    for (const auto& sTable : {oView.getTable1(), oView.getTable2()}) {
        if (const auto it = m_mTaken.find(sTable); it != m_mTaken.end()) {
            oEntry.m_iLevel = std::max(oEntry.m_iLevel, m_lViews[it->second].m_iLevel + 1);
        } else if (const auto itLast = m_mLastOfName.find(sTable);
                   !m_oDispatcher.hasTable(sTable) && itLast != m_mLastOfName.end()) {
            if (sTable == oView.getName()) {
                return "it is made of itself";
            }
            if (itLast->second > a_iView) {
                return "it is made of `" + sTable + "`, which is defined later";
            }
        }
    }
    if (oEntry.m_iLevel > c_iMostLevels) {
        return "it is made of more than " + std::to_string(c_iMostLevels - 1) + " levels of views";
    }
    return oEntry.m_bWhole ? "" : "there is no room for all its columns";
}

} // namespace zel
