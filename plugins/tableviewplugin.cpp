#include "plugins/tableviewplugin.h"

#include "configmanager/columntable.h"
#include "plugins/tableviewcursor.h"
#include "systema/rowfiller.h"
#include "zel/assert.h"
#include "zel/log.h"

#include <algorithm>
#include <utility>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using configmanager::serverlib::findColumn;
using configmanager::serverlib::selectColumns;
using systema::ColumnList;
using systema::EResultCode;
using systema::IRowSink;
using systema::NameList;
using systema::Value;
using systema::ValueList;

namespace {

constexpr const char* c_pModule = "TableView";
constexpr const char* c_pViewNames = "ViewNames";
constexpr const char* c_pViewColumns = "ViewColumns";
constexpr const char* c_pRegisteredViews = "RegisteredViews";

constexpr Column<TableView> c_aRegistered[] = {column<&TableView::getName>("Name")};

std::string textOf(const ValueList& a_oRow, const char* a_pColumn)
{
    const Value* pValue = a_oRow.find(a_pColumn);
    return pValue == nullptr ? std::string() : pValue->toText();
}

int numberOf(const ValueList& a_oRow, const char* a_pColumn)
{
    const Value* pValue = a_oRow.find(a_pColumn);
    return pValue == nullptr ? 0 : pValue->getInteger();
}

/// A bulk read of the views' names.
class NameRows : public systema::IRowCursor
{
public:
    NameRows(NameList a_lNames, NameList a_lColumns)
        : m_lNames(std::move(a_lNames)),
          m_lColumns(std::move(a_lColumns))
    {
    }

    const NameList& getColumns() const override { return m_lColumns; }

    EResultCode fetch(IRowSink& a_oSink) override
    {
        bool bRoom = true;
        for (; bRoom && m_iNext < m_lNames.size(); ++m_iNext) {
            for (std::size_t i = 0; i < m_lColumns.size(); ++i) { // "Name", more than once when so wanted
                a_oSink.addText(m_lNames[m_iNext]);
            }
            bRoom = a_oSink.endRow();
        }
        return bRoom ? EResultCode::NoRow : EResultCode::Success;
    }

private:
    const NameList m_lNames;
    const NameList m_lColumns;
    std::size_t m_iNext = 0;
};

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
        m_lViews, [&](const View& a_oView) { return a_oView.m_oView.getName() == a_sName; });
    return it == m_lViews.end() ? nullptr : &*it;
}

TableViewPlugin::Views::iterator TableViewPlugin::findTableByRefTable(const std::string& a_sTable,
                                                                      Views::iterator a_itFrom)
{
    return std::find_if(a_itFrom, m_lViews.end(), [&](const View& a_oView) {
        return a_oView.m_oView.getTable1() == a_sTable || a_oView.m_oView.getTable2() == a_sTable;
    });
}

// ---------------------------------------------------------------------------------------------------------
// Definitions

bool TableViewPlugin::initialize()
{
    if (std::exchange(m_bLoaded, true)) {
        return true;
    }
    subscribe({c_pViewNames, c_pViewColumns});
    readDefinitions(c_pViewNames, c_iMostViews, [this](const ValueList& a_oRow) { addView(a_oRow); });
    readDefinitions(c_pViewColumns, c_iMostColumns, [this](const ValueList& a_oRow) { addColumn(a_oRow); });
    for (const auto& oView : m_lViews) {
        checkView(oView.m_oView);
        subscribe({oView.m_oView.getTable1(), oView.m_oView.getTable2()});
    }
    return true;
}

template<typename Take>
void TableViewPlugin::readDefinitions(const char* a_pTable, unsigned int a_iMost, Take a_oTake)
{
    std::unique_ptr<systema::IRowCursor> pRows;
    if (m_oDispatcher.openRows(pRows, this, a_pTable, 0, a_iMost + 1, {}) != EResultCode::Success) {
        return;
    }
    ValueList oRow;
    for (unsigned int i = 0; readRow(oRow, *pRows) == EResultCode::Success; ++i) {
        if (i == a_iMost) {
            ZEL_Sysloglevel_error(m_iModule, here(), "Only the first %u rows of %s are loaded", a_iMost,
                                  a_pTable);
            break;
        }
        a_oTake(oRow);
    }
}

void TableViewPlugin::addView(const ValueList& a_oDefinition)
{
    const TableView oView(textOf(a_oDefinition, "Name"), textOf(a_oDefinition, "Table1"),
                          textOf(a_oDefinition, "Col1"), textOf(a_oDefinition, "Table2"),
                          textOf(a_oDefinition, "Col2"));
    const std::string& sName = oView.getName();
    if (sName.empty() || findTable(sName) != nullptr || m_oDispatcher.hasTable(sName)) {
        ZEL_Sysloglevel_error(m_iModule, here(), "View `%s` is left out: %s", sName.c_str(),
                              sName.empty() ? "it has no name" : "there is a table or view of that name");
        return;
    }
    m_lViews.push_back({oView, numberOf(a_oDefinition, "Id")});
}

void TableViewPlugin::addColumn(const ValueList& a_oDefinition)
{
    const int iView = numberOf(a_oDefinition, "ViewNamesId");
    const int iIndex = numberOf(a_oDefinition, "SrcTableIndex");
    for (auto& oView : m_lViews) {
        if (oView.m_iId == iView) {
            oView.m_oView.addColumn(textOf(a_oDefinition, "ColName"), iIndex,
                                    textOf(a_oDefinition, "SrcCol"));
        }
    }
}

void TableViewPlugin::checkView(const TableView& a_oView)
{
    const char* pName = a_oView.getName().c_str();
    for (const auto& sTable : {a_oView.getTable1(), a_oView.getTable2()}) {
        const bool bView = findTable(sTable) != nullptr;
        if (bView || !m_oDispatcher.hasTable(sTable)) {
            ZEL_Sysloglevel_error(m_iModule, here(), "View `%s` has no rows: %s `%s`", pName,
                                  bView ? "it cannot be made of view" : "there is no table", sTable.c_str());
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
        // A view is no source: one of itself, or two of each other, would be announced for ever.
        auto it =
            findTable(sTable) == nullptr ? findTableByRefTable(sTable, m_lViews.begin()) : m_lViews.end();
        for (; it != m_lViews.end(); it = findTableByRefTable(sTable, it + 1)) {
            it->m_bChanged = true;
        }
    }
}

void TableViewPlugin::tick(NameList& a_changedTables)
{
    for (auto& oView : m_lViews) {
        if (std::exchange(oView.m_bChanged, false)) {
            a_changedTables.add(oView.m_oView.getName());
        }
    }
}

// ---------------------------------------------------------------------------------------------------------
// Tables

void TableViewPlugin::getTables(NameList& a_tables, const void* a_handle)
{
    assertCall(a_handle);
    a_tables.add(c_pRegisteredViews);
    for (const auto& oView : m_lViews) {
        a_tables.add(oView.m_oView.getName());
    }
}

TableViewPlugin::View* TableViewPlugin::findView(const void* a_handle, const std::string& a_sName)
{
    // A view is no source: views of views could go round in circles.
    return a_handle == this ? nullptr : findTable(a_sName);
}

EResultCode TableViewPlugin::getSchema(ColumnList& a_columns, const void* a_handle,
                                       const std::string& a_table)
{
    assertCall(a_handle);
    if (a_table == c_pRegisteredViews) {
        configmanager::serverlib::appendSchema(a_columns, c_aRegistered);
        return EResultCode::Success;
    }
    View* pView = findView(a_handle, a_table);
    if (pView == nullptr) {
        return EResultCode::NoTable;
    }
    const TableView& oView = pView->m_oView;
    ColumnList lSchemas[2];
    pView->m_oReads.ask([&] {
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

EResultCode TableViewPlugin::makeWalk(std::unique_ptr<TableViewWalk>& a_pWalk, const void* a_handle,
                                      const std::string& a_sTable, const NameList& a_lColumns)
{
    View* pView = findView(a_handle, a_sTable);
    if (pView == nullptr) {
        return EResultCode::NoTable;
    }
    TableViewWalk::Columns lColumns;
    if (a_lColumns.empty()) {
        for (const auto& oColumn : pView->m_oView) {
            lColumns.push_back(&oColumn);
        }
    }
    for (const auto& sName : a_lColumns) {
        lColumns.push_back(pView->m_oView.getColumn(sName));
        if (lColumns.back() == nullptr) {
            return EResultCode::NoKey;
        }
    }
    a_pWalk = std::make_unique<TableViewWalk>(m_oDispatcher, this, pView->m_oView, pView->m_oReads,
                                              std::move(lColumns));
    return EResultCode::Success;
}

EResultCode TableViewPlugin::getSize(unsigned int& a_size, const void* a_handle, const std::string& a_table)
{
    assertCall(a_handle);
    a_size = 0;
    if (a_table == c_pRegisteredViews) {
        return EResultCode::Success;
    }
    std::unique_ptr<TableViewWalk> pWalk;
    const EResultCode eResult = makeWalk(pWalk, a_handle, a_table, {});
    if (eResult != EResultCode::Success) {
        return eResult;
    }
    pWalk->open(getEnd());
    ValueList oRow;
    while (pWalk->next() == EResultCode::Success) {
        oRow.clear();
        a_size += pWalk->join() == EResultCode::Success && pWalk->fillResult(oRow) == EResultCode::Success;
    }
    return pWalk->isLate() ? EResultCode::Failure : EResultCode::Success;
}

EResultCode TableViewPlugin::selectRow(ValueList& a_row, const void* a_handle, const std::string& a_table,
                                       unsigned int a_index, const NameList& a_columns)
{
    assertCall(a_handle);
    if (a_table == c_pRegisteredViews) {
        return a_index < m_lViews.size()
                   ? selectColumns(a_row, m_lViews[a_index].m_oView, c_aRegistered, a_columns)
                   : EResultCode(EResultCode::NoRow);
    }
    std::unique_ptr<TableViewWalk> pWalk;
    EResultCode eResult = makeWalk(pWalk, a_handle, a_table, a_columns);
    if (eResult == EResultCode::Success) {
        eResult = pWalk->open(getEnd());
    }
    while (eResult == EResultCode::Success && (eResult = pWalk->next()) == EResultCode::Success) {
        if (pWalk->join() == EResultCode::Success && a_index-- == 0) {
            return pWalk->fillResult(a_row);
        }
    }
    return eResult;
}

EResultCode TableViewPlugin::selectKey(ValueList& a_row, const void* a_handle, const std::string& a_table,
                                       const std::string& a_keyColumn, const std::string& a_keyValue,
                                       const NameList& a_columns)
{
    assertCall(a_handle);
    if (a_table == c_pRegisteredViews) {
        if (findColumn(c_aRegistered, a_keyColumn) == nullptr) {
            return EResultCode::NoKey;
        }
        const View* pNamed = findTable(a_keyValue);
        return pNamed == nullptr ? EResultCode(EResultCode::NoRow)
                                 : selectColumns(a_row, pNamed->m_oView, c_aRegistered, a_columns);
    }
    std::unique_ptr<TableViewWalk> pWalk;
    EResultCode eResult = makeWalk(pWalk, a_handle, a_table, a_columns);
    if (eResult == EResultCode::Success) {
        eResult = pWalk->setKey(a_keyColumn, a_keyValue);
    }
    if (eResult == EResultCode::Success) {
        eResult = pWalk->open(getEnd());
    }
    while (eResult == EResultCode::Success && (eResult = pWalk->next()) == EResultCode::Success) {
        ValueList oRow;
        if (pWalk->join() == EResultCode::Success && pWalk->fillResult(oRow) == EResultCode::Success) {
            a_row = std::move(oRow);
            return EResultCode::Success;
        }
    }
    return eResult;
}

EResultCode TableViewPlugin::openRows(std::unique_ptr<systema::IRowCursor>& a_cursor, const void* a_handle,
                                      const std::string& a_table, unsigned int a_first, unsigned int a_count,
                                      const NameList& a_columns)
{
    assertCall(a_handle);
    if (a_table == c_pRegisteredViews) {
        return openNames(a_cursor, a_first, a_count, a_columns);
    }
    std::unique_ptr<TableViewWalk> pWalk;
    EResultCode eResult = makeWalk(pWalk, a_handle, a_table, a_columns);
    if (eResult == EResultCode::Success) {
        eResult = pWalk->open();
    }
    if (eResult == EResultCode::Success) {
        a_cursor = std::make_unique<TableViewCursor>(std::move(pWalk), a_first, a_count);
    }
    return eResult;
}

EResultCode TableViewPlugin::openNames(std::unique_ptr<systema::IRowCursor>& a_cursor, unsigned int a_iFirst,
                                       unsigned int a_iCount, const NameList& a_lColumns) const
{
    const auto isUnknown = [](const auto& a_sName) { return findColumn(c_aRegistered, a_sName) == nullptr; };
    if (std::ranges::any_of(a_lColumns, isUnknown)) {
        return EResultCode::NoKey;
    }
    NameList lNames;
    for (std::size_t i = a_iFirst; i < m_lViews.size() && lNames.size() < a_iCount; ++i) {
        lNames.add(m_lViews[i].m_oView.getName());
    }
    a_cursor = std::make_unique<NameRows>(
        std::move(lNames), a_lColumns.empty() ? NameList{c_aRegistered[0].m_pName} : a_lColumns);
    return EResultCode::Success;
}

} // namespace zel
