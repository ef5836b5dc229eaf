#include "plugins/tableviewplugin.h"

#include "configmanager/columntable.h"
#include "plugins/rowreader.h"
#include "systema/positioncursor.h"
#include "zel/assert.h"
#include "zel/log.h"

#include <algorithm>
#include <chrono>
#include <optional>
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

/// The columns of the view that are wanted, all when none is named; none when the view lacks one.
std::optional<TableViewWalk::Columns> wantedColumns(const TableView& a_oView, const NameList& a_lNames)
{
    TableViewWalk::Columns lColumns;
    if (a_lNames.empty()) {
        for (const auto& oColumn : a_oView) {
            lColumns.push_back(&oColumn);
        }
    }
    for (const auto& sName : a_lNames) {
        lColumns.push_back(a_oView.getColumn(sName));
        if (lColumns.back() == nullptr) {
            return {};
        }
    }
    return lColumns;
}

/// A bulk read of a view.
class JoinedRows : public systema::IRowCursor
{
public:
    JoinedRows(TableViewWalk a_oWalk, const TableViewWalk::Columns& a_lColumns, unsigned int a_iFirst,
               unsigned int a_iCount)
        : m_oWalk(std::move(a_oWalk)),
          m_iSkip(a_iFirst),
          m_iLeft(a_iCount)
    {
        for (const auto* pColumn : a_lColumns) {
            m_lColumns.add(pColumn->m_sName);
        }
    }

    const NameList& getColumns() const override { return m_lColumns; }

    EResultCode fetch(IRowSink& a_oSink) override
    {
        if (m_oWalk.isOvertaken()) {
            return EResultCode::Busy;
        }
        const auto oEnd = std::chrono::steady_clock::now() + systema::c_oFetchTime;
        bool bGoOn = true;
        while (bGoOn && m_iLeft > 0) {
            EResultCode eResult = m_oWalk.next();
            if (eResult == EResultCode::Success && m_oWalk.join() == EResultCode::Success) {
                eResult = take(a_oSink, bGoOn);
            }
            if (eResult != EResultCode::Success) {
                return eResult;
            }
            bGoOn = bGoOn && std::chrono::steady_clock::now() < oEnd;
        }
        return m_iLeft > 0 ? EResultCode::Success : EResultCode::NoRow;
    }

private:
    EResultCode take(IRowSink& a_oSink, bool& a_bRoom)
    {
        if (m_iSkip > 0) {
            --m_iSkip;
            return EResultCode::Success;
        }
        --m_iLeft;
        m_oRow.clear();
        const EResultCode eResult = m_oWalk.fillResult(m_oRow);
        if (eResult == EResultCode::Success) {
            for (const auto& [sName, oValue] : m_oRow) {
                a_oSink.addValue(oValue);
            }
            a_bRoom = a_oSink.endRow();
        }
        return eResult;
    }

    TableViewWalk m_oWalk;
    unsigned int m_iSkip; // joined rows before the first
    unsigned int m_iLeft; // rows still to be handed over, at most
    NameList m_lColumns;
    ValueList m_oRow;
};

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

TableViewPlugin::TableViewPlugin(systema::ConfigDispatcher& a_oDispatcher, bool a_bVerbose)
    : m_oDispatcher(a_oDispatcher),
      m_iModule(ZEL_Sysloglevel_registerModul(c_pModule)),
      m_oSubscriber(a_oDispatcher, c_pModule, [this](const NameList& a_lTables) { markChanged(a_lTables); })
{
    ZEL_Sysloglevel_changeTracelevel(c_pModule, a_bVerbose ? c_iTraceLevelVerbose : c_iTraceLevelNormal);
}

const TableView* TableViewPlugin::findTable(const std::string& a_sName) const
{
    const auto it = std::ranges::find_if(
        m_lViews, [&](const View& a_oView) { return a_oView.m_oView.getName() == a_sName; });
    return it == m_lViews.end() ? nullptr : &it->m_oView;
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
        for (auto it = findTableByRefTable(sTable, m_lViews.begin()); it != m_lViews.end();
             it = findTableByRefTable(sTable, it + 1)) {
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

unsigned int TableViewPlugin::sourceSize(const std::string& a_sTable)
{
    unsigned int iSize = 0;
    // A view is no source: views of views could go round in circles.
    const bool bCounted = findTable(a_sTable) == nullptr &&
                          m_oDispatcher.getSize(iSize, this, a_sTable) == EResultCode::Success;
    return bCounted ? iSize : 0;
}

ColumnList TableViewPlugin::sourceSchema(const std::string& a_sTable)
{
    ColumnList lSchema;
    if (findTable(a_sTable) == nullptr) {
        m_oDispatcher.getSchema(lSchema, this, a_sTable);
    }
    return lSchema;
}

EResultCode TableViewPlugin::getSchema(ColumnList& a_columns, const void* a_handle,
                                       const std::string& a_table)
{
    assertCall(a_handle);
    if (a_table == c_pRegisteredViews) {
        configmanager::serverlib::appendSchema(a_columns, c_aRegistered);
        return EResultCode::Success;
    }
    const TableView* pView = findTable(a_table);
    if (pView == nullptr) {
        return EResultCode::NoTable;
    }
    const ColumnList lSchemas[] = {sourceSchema(pView->getTable1()), sourceSchema(pView->getTable2())};
    for (const auto& [sName, iIndex, sSourceColumn] : *pView) {
        error::Assert(1 == iIndex || 2 == iIndex, "1 == a_index || 2 == a_index");
        if (const auto* pColumn = lSchemas[iIndex - 1].getColumn(sSourceColumn)) {
            a_columns.add(sName, pColumn->second);
        }
    }
    return EResultCode::Success;
}

EResultCode TableViewPlugin::openWalk(TableViewWalk& a_oWalk, const TableView& a_oView)
{
    return a_oWalk.open(std::min(sourceSize(a_oView.getTable1()), sourceSize(a_oView.getTable2())));
}

EResultCode TableViewPlugin::getSize(unsigned int& a_size, const void* a_handle, const std::string& a_table)
{
    assertCall(a_handle);
    if (a_table == c_pRegisteredViews) {
        a_size = 0;
        return EResultCode::Success;
    }
    const TableView* pView = findTable(a_table);
    if (pView == nullptr) {
        return EResultCode::NoTable;
    }
    a_size = 0;
    TableViewWalk oWalk(m_oDispatcher, this, *pView, *wantedColumns(*pView, {}));
    EResultCode eResult = openWalk(oWalk, *pView);
    ValueList oRow;
    while (eResult == EResultCode::Success && (eResult = oWalk.next()) == EResultCode::Success) {
        oRow.clear();
        a_size += oWalk.join() == EResultCode::Success && oWalk.fillResult(oRow) == EResultCode::Success;
    }
    return eResult == EResultCode::NoRow ? EResultCode(EResultCode::Success) : eResult;
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
    const TableView* pView = findTable(a_table);
    if (pView == nullptr) {
        return EResultCode::NoTable;
    }
    const auto lColumns = wantedColumns(*pView, a_columns);
    if (!lColumns) {
        return EResultCode::NoKey;
    }
    TableViewWalk oWalk(m_oDispatcher, this, *pView, *lColumns);
    EResultCode eResult = openWalk(oWalk, *pView);
    while (eResult == EResultCode::Success && (eResult = oWalk.next()) == EResultCode::Success) {
        if (oWalk.join() == EResultCode::Success && a_index-- == 0) {
            return oWalk.fillResult(a_row);
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
        const TableView* pNamed = findTable(a_keyValue);
        return pNamed == nullptr ? EResultCode(EResultCode::NoRow)
                                 : selectColumns(a_row, *pNamed, c_aRegistered, a_columns);
    }
    const TableView* pView = findTable(a_table);
    if (pView == nullptr) {
        return EResultCode::NoTable;
    }
    const TableViewColumns* pKey = pView->getColumn(a_keyColumn);
    auto lColumns = wantedColumns(*pView, a_columns);
    if (pKey == nullptr || !lColumns) {
        return EResultCode::NoKey;
    }
    const std::string& sKeyTable = pView->getTable(pKey->m_iIndex);
    if (findTable(sKeyTable) != nullptr) {
        return EResultCode::NoTable;
    }
    // What a key means is for its table to say: the value that it finds there is looked for in the view.
    std::string sWanted = a_keyValue;
    ValueList oSource;
    EResultCode eResult = m_oDispatcher.selectKey(oSource, this, sKeyTable, pKey->m_sSourceColumn, a_keyValue,
                                                  {pKey->m_sSourceColumn});
    if (eResult == EResultCode::Success) {
        const Value* pFound = oSource.find(pKey->m_sSourceColumn);
        if (pFound == nullptr) {
            return EResultCode::NoKey;
        }
        if (pFound->getType() == systema::EDataType::Null) { // as every value of such a column reads
            return EResultCode::NoRow;
        }
        sWanted = pFound->toText();
    } else if (eResult != EResultCode::NoRow || pKey->m_iIndex == 2) {
        return eResult;
    } // else the partner may be the default row, which keys do not find
    TableViewWalk oWalk(m_oDispatcher, this, *pView, *lColumns, pKey);
    const auto hasKey = [&] {
        const Value* pValue = oWalk.find(*pKey);
        return pValue != nullptr && pValue->getType() != systema::EDataType::Null &&
               pValue->toText() == sWanted;
    };
    const bool bKnownBefore = pKey->m_iIndex == 2; // and what has another value need not be joined
    eResult = openWalk(oWalk, *pView);
    while (eResult == EResultCode::Success && (eResult = oWalk.next()) == EResultCode::Success) {
        ValueList oRow;
        if ((!bKnownBefore || hasKey()) && oWalk.join() == EResultCode::Success && hasKey() &&
            oWalk.fillResult(oRow) == EResultCode::Success) {
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
    const TableView* pView = findTable(a_table);
    if (pView == nullptr) {
        return EResultCode::NoTable;
    }
    const auto lColumns = wantedColumns(*pView, a_columns);
    if (!lColumns) {
        return EResultCode::NoKey;
    }
    TableViewWalk oWalk(m_oDispatcher, this, *pView, *lColumns);
    const EResultCode eResult = openWalk(oWalk, *pView);
    if (eResult == EResultCode::Success) {
        const unsigned int iCount = lColumns->empty() ? 0 : a_count; // rows of no columns cannot be sent
        a_cursor = std::make_unique<JoinedRows>(std::move(oWalk), *lColumns, a_first, iCount);
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
