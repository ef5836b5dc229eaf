#include "plugins/tableviewplugin.h"

#include "systema/positioncursor.h"
#include "systema/rowfiller.h"
#include "zel/assert.h"
#include "zel/log.h"

#include <algorithm>
#include <ranges>
#include <utility>

namespace zel {

using systema::EResultCode;
using systema::NameList;
using systema::Value;
using systema::ValueList;

namespace {

constexpr const char* c_pModule = "TableView";
constexpr const char* c_pViewNames = "ViewNames";
constexpr const char* c_pViewColumns = "ViewColumns";

int numberOf(const ValueList& a_oRow, const char* a_pColumn)
{
    const Value* pValue = a_oRow.find(a_pColumn);
    return pValue == nullptr ? 0 : pValue->getInteger();
}

} // namespace

TableViewPlugin::TableViewPlugin(systema::ConfigDispatcher& a_oDispatcher, bool a_bVerbose,
                                 std::chrono::milliseconds a_oCeiling)
    : m_oDispatcher(a_oDispatcher),
      m_oCeiling(a_oCeiling),
      m_iModule(ZEL_Sysloglevel_registerModul(c_pModule)),
      m_oSubscriber(a_oDispatcher, c_pModule, [this](const NameList& a_lTables) { markChanged(a_lTables); })
{
    ZEL_Sysloglevel_changeTracelevel(c_pModule, a_bVerbose ? c_iTraceLevelVerbose : c_iTraceLevelNormal);
}

TableViewPlugin::View* TableViewPlugin::findTable(const std::string& a_sName)
{
    const auto it = std::ranges::find_if(
        m_lViews, [&](const View& a_oView) { return a_oView.m_oDefinition.getName() == a_sName; });
    return it == m_lViews.end() ? nullptr : &*it;
}

auto TableViewPlugin::findTableByRefTable(const std::string& a_sTable)
{
    return std::views::filter(m_lViews, [&a_sTable](const View& a_oView) {
        return a_oView.m_oDefinition.getTable1() == a_sTable || a_oView.m_oDefinition.getTable2() == a_sTable;
    });
}

// ---------------------------------------------------------------------------------------------------------
// Definitions

bool TableViewPlugin::initialize()
{
    if (std::exchange(m_bLoaded, true)) {
        return true;
    }
    subscribe({c_pViewNames, c_pViewColumns}); // to have it logged when they are not there
    for (const auto& oDefinition : readDefinitions(c_pViewNames, c_iMostViews)) {
        addView(oDefinition);
    }
    for (const auto& oDefinition : readDefinitions(c_pViewColumns, c_iMostColumns)) {
        addColumn(oDefinition);
    }
    leaveOutViewsOfViews();
    for (const auto& oView : m_lViews) {
        checkView(oView.m_oDefinition);
        subscribe({oView.m_oDefinition.getTable1(), oView.m_oDefinition.getTable2()});
        m_oRegistered.add(oView.m_oDefinition.getName());
    }
    return true;
}

std::vector<ValueList> TableViewPlugin::readDefinitions(const char* a_pTable, unsigned int a_iMost)
{
    std::vector<ValueList> lRows;
    std::unique_ptr<systema::IRowCursor> pRows;
    EResultCode eResult = m_oDispatcher.openRows(pRows, this, a_pTable, 0, a_iMost + 1, {});
    for (ValueList oRow; eResult == EResultCode::Success;) {
        eResult = systema::readRow(oRow, *pRows);
        if (eResult == EResultCode::Success) {
            lRows.push_back(oRow);
        }
    }
    if (eResult != EResultCode::NoRow && eResult != EResultCode::NoTable) { // which is logged already
        ZEL_Sysloglevel_error(m_iModule, here(), "%s cannot be read: %s", a_pTable, eResult.strerror());
    }
    if (lRows.size() > a_iMost) {
        lRows.pop_back();
        ZEL_Sysloglevel_error(m_iModule, here(), "Only the first %u rows of %s are loaded", a_iMost,
                              a_pTable);
    }
    return lRows;
}

void TableViewPlugin::addView(const ValueList& a_oDefinition)
{
    const std::string sName = a_oDefinition.toText("Name");
    if (sName.empty()) {
        leaveOut(sName, "it has no name");
    } else if (findTable(sName) != nullptr || m_oDispatcher.hasTable(sName)) {
        leaveOut(sName, "there is a table or view of that name");
    } else {
        m_lViews.push_back({TableView(a_oDefinition), numberOf(a_oDefinition, "Id")});
    }
}

void TableViewPlugin::addColumn(const ValueList& a_oDefinition)
{
    const int iView = numberOf(a_oDefinition, "ViewNamesId");
    for (auto& oView : m_lViews) {
        if (oView.m_iId == iView) {
            oView.m_oDefinition.addColumn(a_oDefinition.toText("ColName"),
                                          numberOf(a_oDefinition, "SrcTableIndex"),
                                          a_oDefinition.toText("SrcCol"));
        }
    }
}

void TableViewPlugin::leaveOut(const std::string& a_sView, const char* a_pReason) const
{
    ZEL_Sysloglevel_error(m_iModule, here(), "View `%s` is left out: %s", a_sView.c_str(), a_pReason);
}

void TableViewPlugin::leaveOutViewsOfViews()
{
    std::vector<View> lKept; // the others could go round in circles, in reads and in announcements
    for (const auto& oView : m_lViews) {
        const TableView& oDefinition = oView.m_oDefinition;
        if (findTable(oDefinition.getTable1()) != nullptr || findTable(oDefinition.getTable2()) != nullptr) {
            leaveOut(oDefinition.getName(), "it is made of a view");
        } else {
            lKept.push_back(oView);
        }
    }
    m_lViews = std::move(lKept);
}

void TableViewPlugin::checkView(const TableView& a_oView) const
{
    const char* pName = a_oView.getName().c_str();
    for (const auto& sTable : {a_oView.getTable1(), a_oView.getTable2()}) {
        if (!m_oDispatcher.hasTable(sTable)) {
            ZEL_Sysloglevel_error(m_iModule, here(), "View `%s` has no rows: there is no table `%s`", pName,
                                  sTable.c_str());
        }
    }
    if (a_oView.empty()) {
        ZEL_Sysloglevel_error(m_iModule, here(), "View `%s` has no columns", pName);
    }
    for (const auto& oColumn : a_oView) {
        if (oColumn.m_iIndex != 1 && oColumn.m_iIndex != 2) {
            ZEL_Sysloglevel_error(m_iModule, here(),
                                  "Column `%s` of view `%s` cannot be read: it is of table %d",
                                  oColumn.m_sName.c_str(), pName, oColumn.m_iIndex);
        }
    }
}

// ---------------------------------------------------------------------------------------------------------
// Changes

void TableViewPlugin::subscribe(const NameList& a_lTables)
{
    if (!m_oDispatcher.subscribe(m_oSubscriber, a_lTables)) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Could not subcribe for tables");
    }
}

void TableViewPlugin::markChanged(const NameList& a_lTables)
{
    for (const auto& sTable : a_lTables) {
        for (auto& oView : findTableByRefTable(sTable)) {
            oView.m_bChanged = true;
        }
    }
}

void TableViewPlugin::tick(NameList& a_changedTables)
{
    for (auto& oView : m_lViews) {
        if (std::exchange(oView.m_bChanged, false)) {
            a_changedTables.add(oView.m_oDefinition.getName());
        }
    }
}

// ---------------------------------------------------------------------------------------------------------
// Tables

void TableViewPlugin::getTables(NameList& a_tables, const void* a_handle)
{
    assertCall(a_handle);
    m_oRegistered.getTables(a_tables, a_handle);
    for (const auto& oView : m_lViews) {
        a_tables.add(oView.m_oDefinition.getName());
    }
}

EResultCode TableViewPlugin::getSchema(systema::ColumnList& a_columns, const void* a_handle,
                                       const std::string& a_table)
{
    assertCall(a_handle);
    if (a_table == RegisteredViews::c_pTable) {
        return m_oRegistered.getSchema(a_columns, a_handle, a_table);
    }
    View* pView = findTable(a_table);
    if (pView == nullptr) {
        return EResultCode::NoTable;
    }
    const TableView& oView = pView->m_oDefinition;
    systema::ColumnList lSchemas[2];
    pView->m_oQuestions.ask([&] {
        m_oDispatcher.getSchema(lSchemas[0], this, oView.getTable1());
        return m_oDispatcher.getSchema(lSchemas[1], this, oView.getTable2());
    });
    for (const auto& [sName, iIndex, sSourceColumn] : oView) {
        error::Assert(1 == iIndex || 2 == iIndex, "1 == a_index || 2 == a_index");
        if (const auto* pColumn = lSchemas[iIndex - 1].getColumn(sSourceColumn)) {
            a_columns.add(sName, pColumn->second);
        }
    }
    return EResultCode::Success;
}

EResultCode TableViewPlugin::makeCursor(std::unique_ptr<TableViewCursor>& a_pCursor,
                                        const std::string& a_sTable, const NameList& a_lColumns)
{
    View* pView = findTable(a_sTable);
    if (pView == nullptr) {
        return EResultCode::NoTable;
    }
    const TableView& oView = pView->m_oDefinition;
    TableViewCursor::Columns lColumns;
    if (a_lColumns.empty()) {
        for (const auto& oColumn : oView) {
            lColumns.push_back(&oColumn);
        }
    }
    for (const auto& sName : a_lColumns) {
        lColumns.push_back(oView.getColumn(sName));
        if (lColumns.back() == nullptr) {
            return EResultCode::NoKey;
        }
    }
    a_pCursor = std::make_unique<TableViewCursor>(m_oDispatcher, oView, pView->m_oQuestions,
                                                  std::move(lColumns), m_iModule);
    return EResultCode::Success;
}

EResultCode TableViewPlugin::tookTooLong(const std::string& a_sView)
{
    Clock::time_point& oNextLog = findTable(a_sView)->m_oNextLog;
    if (const auto oNow = Clock::now(); oNow >= oNextLog) {
        oNextLog = oNow + std::chrono::minutes(1);
        ZEL_Sysloglevel_error(m_iModule, here(), "View `%s` takes too long", a_sView.c_str());
    }
    return EResultCode::Failure;
}

EResultCode TableViewPlugin::getSize(unsigned int& a_size, const void* a_handle, const std::string& a_table)
{
    assertCall(a_handle);
    a_size = 0;
    if (a_table == RegisteredViews::c_pTable) {
        return EResultCode::Success;
    }
    std::unique_ptr<TableViewCursor> pRows;
    if (const EResultCode eResult = makeCursor(pRows, a_table, {})) {
        return eResult;
    }
    const auto oEnd = Clock::now() + m_oCeiling;
    pRows->open();
    while (pRows->nextJoined(oEnd)) {
        if (pRows->isComplete()) {
            ++a_size;
        }
    }
    const EResultCode eEnd = pRows->getEnd();
    if (eEnd == EResultCode::Pending) {
        return eEnd;
    }
    return eEnd == EResultCode::Success ? tookTooLong(a_table) : EResultCode(EResultCode::Success);
}

EResultCode TableViewPlugin::selectRow(ValueList& a_row, const void* a_handle, const std::string& a_table,
                                       unsigned int a_index, const NameList& a_columns)
{
    assertCall(a_handle);
    if (a_table == RegisteredViews::c_pTable) {
        return m_oRegistered.selectRow(a_row, a_handle, a_table, a_index, a_columns);
    }
    const auto oEnd = Clock::now() + m_oCeiling;
    std::unique_ptr<TableViewCursor> pRows;
    if (const EResultCode eResult = makeCursor(pRows, a_table, a_columns)) {
        return eResult;
    }
    pRows->open(a_index, 1);
    systema::RowFiller oRow(a_row, pRows->getColumns());
    const EResultCode eResult = pRows->fetch(oRow, oEnd);
    return oRow.isComplete() || eResult != EResultCode::Success ? eResult : tookTooLong(a_table);
}

EResultCode TableViewPlugin::selectKey(ValueList& a_row, const void* a_handle, const std::string& a_table,
                                       const std::string& a_keyColumn, const std::string& a_keyValue,
                                       const NameList& a_columns)
{
    assertCall(a_handle);
    if (a_table == RegisteredViews::c_pTable) {
        return m_oRegistered.selectKey(a_row, a_handle, a_table, a_keyColumn, a_keyValue, a_columns);
    }
    const auto oEnd = Clock::now() + m_oCeiling;
    std::unique_ptr<TableViewCursor> pRows;
    EResultCode eResult = makeCursor(pRows, a_table, a_columns);
    if (eResult == EResultCode::Success) {
        eResult = pRows->setKey(a_keyColumn, a_keyValue);
    }
    if (eResult != EResultCode::Success) {
        return eResult;
    }
    const auto find = [&] {
        pRows->open();
        while (pRows->nextJoined(oEnd)) {
            ValueList oRow;
            if (pRows->fillResult(oRow) == EResultCode::Success) {
                a_row = std::move(oRow);
                return true;
            }
        }
        return false;
    };
    if (find() || (pRows->getEnd() == EResultCode::NoRow && pRows->translateKey() && find())) {
        return EResultCode::Success;
    }
    return pRows->getEnd() == EResultCode::Success ? tookTooLong(a_table) : pRows->getEnd();
}

EResultCode TableViewPlugin::openRows(std::unique_ptr<systema::IRowCursor>& a_cursor, const void* a_handle,
                                      const std::string& a_table, unsigned int a_first, unsigned int a_count,
                                      const NameList& a_columns)
{
    assertCall(a_handle);
    if (a_table == RegisteredViews::c_pTable) {
        return systema::PositionCursor::open(a_cursor, m_oRegistered, a_handle, a_table, a_first, a_count,
                                             a_columns, RegisteredViews::c_iVersion);
    }
    std::unique_ptr<TableViewCursor> pRows;
    if (const EResultCode eResult = makeCursor(pRows, a_table, a_columns)) {
        return eResult;
    }
    pRows->open(a_first, a_count);
    if (pRows->getEnd() != EResultCode::Success && pRows->getEnd() != EResultCode::NoRow) {
        return pRows->getEnd();
    }
    a_cursor = std::move(pRows);
    return EResultCode::Success;
}

} // namespace zel
