#include "plugins/tableviewplugin.h"

#include "plugins/tableviewdefinitions.h"
#include "systema/positioncursor.h"
#include "systema/rowfiller.h"
#include "zel/assert.h"
#include "zel/log.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <ranges>
#include <utility>

namespace zel {

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;

namespace {

constexpr const char* c_pModule = "TableView";

void addNew(NameList& a_lNames, const NameList& a_lOthers)
{
    for (const auto& sName : a_lOthers) {
        if (!a_lNames.hasName(sName)) {
            a_lNames.add(sName);
        }
    }
}

} // namespace

TableViewPlugin::TableViewPlugin(systema::ConfigDispatcher& a_oDispatcher, bool a_bVerbose,
                                 std::chrono::milliseconds a_oCeiling, std::size_t a_iPartnerBytes)
    : m_oDispatcher(a_oDispatcher),
      m_oCeiling(a_oCeiling),
      m_iBudget(a_iPartnerBytes),
      m_iModule(ZEL_Sysloglevel_registerModul(c_pModule)),
      m_oSubscriber(a_oDispatcher, c_pModule, [this](const NameList& a_lTables) { markChanged(a_lTables); })
{
    ZEL_Sysloglevel_changeTracelevel(c_pModule, a_bVerbose ? c_iTraceLevelVerbose : c_iTraceLevelNormal);
}

TableViewPlugin::View* TableViewPlugin::findTable(const std::string& a_sName)
{
    const auto it = m_mViews.find(a_sName);
    return it == m_mViews.end() ? nullptr : &m_lViews[it->second];
}

auto TableViewPlugin::findTableByRefTable(const std::string& a_sTable)
{
    return std::views::filter(m_lViews, [&a_sTable](const View& a_oView) {
        return a_oView.m_oSource.m_lBases1.hasName(a_sTable) || a_oView.m_oSource.m_lBases2.hasName(a_sTable);
    });
}

// ---------------------------------------------------------------------------------------------------------
// Definitions

bool TableViewPlugin::initialize()
{
    if (std::exchange(m_bLoaded, true)) {
        return true;
    }
    // Subscribed only to have it logged when they do not exist, or change, which has no effect.
    subscribe({TableViewDefinitions::c_pViewNames, TableViewDefinitions::c_pViewColumns});
    for (auto& oDefinition : TableViewDefinitions(m_oDispatcher, m_iModule).read()) {
        View oView{.m_oSource = {std::move(oDefinition)}};
        TableViewSource& oSource = oView.m_oSource;
        const TableView& oTables = oSource.m_oDefinition;
        oSource.m_lBases1 = basesOf(oTables.getTable1());
        oSource.m_lBases2 = basesOf(oTables.getTable2());
        oSource.m_bTable1IsView = findTable(oTables.getTable1()) != nullptr;
        m_oRegistered.add(oTables.getName());
        m_mViews.emplace(oTables.getName(), m_lViews.size()); // before the views made of it are loaded
        m_lViews.push_back(std::move(oView));
    }
    checkAll();
    for (const auto& oView : m_lViews) {
        NameList lBases = oView.m_oSource.m_lBases1;
        addNew(lBases, oView.m_oSource.m_lBases2);
        subscribe(lBases);
    }
    return true;
}

NameList TableViewPlugin::basesOf(const std::string& a_sTable)
{
    const View* pView = findTable(a_sTable);
    if (pView == nullptr) {
        return {a_sTable};
    }
    NameList lBases = pView->m_oSource.m_lBases1;
    addNew(lBases, pView->m_oSource.m_lBases2);
    return lBases;
}

void TableViewPlugin::checkAll()
{
    m_bCheckDue = false;
    for (auto& oView : m_lViews) {
        check(oView);
    }
}

void TableViewPlugin::check(View& a_oView)
{
    const std::string sFaults = findFaults(a_oView);
    const bool bOther = std::exchange(a_oView.m_sFaults, sFaults) != sFaults;
    a_oView.m_bChanged = a_oView.m_bChanged || bOther;
    if (bOther && !sFaults.empty()) {
        ZEL_Sysloglevel_error(m_iModule, here(), "View `%s` %s",
                              a_oView.m_oSource.m_oDefinition.getName().c_str(), sFaults.c_str());
    }
    const auto isStored = [this](const std::string& a_sTable) { return m_oDispatcher.isStored(a_sTable); };
    a_oView.m_bStored = std::ranges::all_of(a_oView.m_oSource.m_lBases1, isStored) &&
                        std::ranges::all_of(a_oView.m_oSource.m_lBases2, isStored);
}

/// What there is of a source table.
struct TableViewPlugin::SourceTable
{
    const std::string& m_sName;
    bool m_bExists;
    bool m_bStored;
    bool m_bView;
    systema::ColumnList m_lSchema = {};
    bool m_bSchemaKnown = false;
};

TableViewPlugin::SourceTable TableViewPlugin::inspect(const std::string& a_sTable)
{
    SourceTable oTable{a_sTable, hasSource(a_sTable), m_oDispatcher.isStored(a_sTable),
                       findTable(a_sTable) != nullptr};
    oTable.m_bSchemaKnown =
        oTable.m_bExists && getSourceSchema(oTable.m_lSchema, a_sTable) == EResultCode::Success;
    return oTable;
}

/// True when the stored table knows the numbers of its rows by this name, as SQLite does by "rowid". A view
/// of the schema does not, nor does a table WITHOUT ROWID.
bool TableViewPlugin::isRowNumber(const std::string& a_sTable, const std::string& a_sColumn)
{
    std::unique_ptr<systema::IRowCursor> pRows;
    return m_oDispatcher.openKeyRows(pRows, this, a_sTable, {a_sColumn}) != EResultCode::Success || pRows;
}

/// True when the table's schema is known and does not have the column.
bool TableViewPlugin::lacks(const SourceTable& a_oTable, const std::string& a_sColumn, bool a_bAsKey)
{
    const auto isColumn = [&](const auto& a_oColumn) {
        return a_oColumn.first == a_sColumn ||
               (a_bAsKey && a_oTable.m_bStored &&
                ::strcasecmp(a_oColumn.first.c_str(), a_sColumn.c_str()) == 0);
    };
    return a_oTable.m_bSchemaKnown && std::ranges::none_of(a_oTable.m_lSchema, isColumn) &&
           !(a_bAsKey && a_oTable.m_bStored && isRowNumber(a_oTable.m_sName, a_sColumn));
}

/// Compares the definition with the tables that exist. Returns the faults, joined by "; ".
std::string TableViewPlugin::findFaults(View& a_oView)
{
    TableViewSource& oSource = a_oView.m_oSource;
    const TableView& oView = oSource.m_oDefinition;
    std::string sFaults;
    const auto add = [&](const std::string& a_sFault) {
        if (sFaults.find(a_sFault) == std::string::npos) {
            sFaults += (sFaults.empty() ? "" : "; ") + a_sFault;
        }
    };
    const auto addColumn = [&](const SourceTable& a_oTable, const std::string& a_sColumn) {
        add("names a column that the schema of `" + a_oTable.m_sName + "` lacks: `" + a_sColumn + "`");
    };
    const std::array<SourceTable, 2> aTables{inspect(oView.getTable1()), inspect(oView.getTable2())};
    const std::array<const std::string*, 2> aJoin{&oView.getColumn1(), &oView.getColumn2()};
    a_oView.m_lMissing.clear();
    oSource.m_bJoinable = true;
    for (const SourceTable& oTable : aTables) {
        if (!oTable.m_bExists) {
            a_oView.m_lMissing.add(oTable.m_sName);
            add("has no rows: there is no table `" + oTable.m_sName + "`");
        }
    }
    for (std::size_t i = 0; i < aTables.size(); ++i) {
        if (lacks(aTables[i], *aJoin[i], i == 0)) {
            addColumn(aTables[i], *aJoin[i]);
            // Other virtual tables may serve columns that their schema lacks.
            oSource.m_bJoinable = oSource.m_bJoinable && !aTables[i].m_bStored && !aTables[i].m_bView;
        }
    }
    if (oView.empty()) {
        add("has no columns");
    }
    for (const auto& [sName, iIndex, sSourceColumn] : oView) {
        if (iIndex != 1 && iIndex != 2) {
            add("cannot show `" + sName + "`: it is of table " + std::to_string(iIndex));
        } else if (const SourceTable& oTable = aTables[iIndex - 1]; lacks(oTable, sSourceColumn, false)) {
            addColumn(oTable, sSourceColumn);
        }
    }
    return sFaults;
}

bool TableViewPlugin::hasSource(const std::string& a_sTable)
{
    return findTable(a_sTable) != nullptr || m_oDispatcher.hasTable(a_sTable);
}

/// The dispatcher does not know the views while they are loaded.
EResultCode TableViewPlugin::getSourceSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable)
{
    return findTable(a_sTable) != nullptr ? getSchema(a_lColumns, this, a_sTable)
                                          : m_oDispatcher.getSchema(a_lColumns, this, a_sTable);
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
    const bool bDefined = a_lTables.hasName(TableViewDefinitions::c_pViewNames) ||
                          a_lTables.hasName(TableViewDefinitions::c_pViewColumns);
    if (const auto oNow = Clock::now(); bDefined && oNow >= m_oNextDefinitionLog) {
        m_oNextDefinitionLog = oNow + std::chrono::minutes(1);
        ZEL_Sysloglevel_warning(
            m_iModule, here(),
            "The definitions of views have changed: the next start makes the views of them");
    }
    for (const auto& sTable : a_lTables) {
        for (auto& oView : findTableByRefTable(sTable)) {
            oView.m_bChanged = true;
            oView.m_pPosition.reset();
        }
    }
}

void TableViewPlugin::tick(NameList& a_lChangedTables)
{
    const bool bAppeared = std::ranges::any_of(m_lViews, [this](const View& a_oView) {
        return std::ranges::any_of(a_oView.m_lMissing,
                                   [this](const auto& a_sTable) { return m_oDispatcher.hasTable(a_sTable); });
    });
    if (bAppeared || (m_bCheckDue && m_oDispatcher.connectionOpened())) {
        checkAll();
    }
    for (auto& oView : m_lViews) {
        oView.m_oSize.reset();
        if (oView.m_pPosition != nullptr && !std::exchange(oView.m_pPosition->m_bUsed, false)) {
            oView.m_pPosition.reset();
        }
        if (std::exchange(oView.m_bChanged, false)) {
            a_lChangedTables.add(oView.m_oSource.m_oDefinition.getName());
        }
    }
}

void TableViewPlugin::close(const void* a_pHandle)
{
    assertCall(a_pHandle);
    for (auto& oView : m_lViews) {
        oView.m_pPosition.reset();
        oView.m_oSize.reset();
    }
    m_bCheckDue = true;
}

// ---------------------------------------------------------------------------------------------------------
// Tables

void TableViewPlugin::getTables(NameList& a_lTables, const void* a_pHandle)
{
    assertCall(a_pHandle);
    m_oRegistered.getTables(a_lTables, a_pHandle);
    for (const auto& oView : m_lViews) {
        a_lTables.add(oView.m_oSource.m_oDefinition.getName());
    }
}

EResultCode TableViewPlugin::getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                       const std::string& a_sTable)
{
    assertCall(a_pHandle);
    if (a_sTable == RegisteredViews::c_pTable) {
        return m_oRegistered.getSchema(a_lColumns, a_pHandle, a_sTable);
    }
    View* pView = findTable(a_sTable);
    if (pView == nullptr) {
        return EResultCode::NoTable;
    }
    const TableView& oView = pView->m_oSource.m_oDefinition;
    systema::ColumnList lSchemas[2];
    pView->m_oSource.m_oRecursion.query([&] {
        getSourceSchema(lSchemas[0], oView.getTable1());
        return getSourceSchema(lSchemas[1], oView.getTable2());
    });
    for (const auto& [sName, iIndex, sSourceColumn] : oView) {
        error::Assert(1 == iIndex || 2 == iIndex, "1 == a_index || 2 == a_index");
        if (const auto* pColumn = lSchemas[iIndex - 1].getColumn(sSourceColumn)) {
            a_lColumns.add(sName, pColumn->second);
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
    if (m_bCheckDue && m_oDispatcher.connectionOpened()) {
        checkAll();
    }
    const TableView& oView = pView->m_oSource.m_oDefinition;
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
    a_pCursor = std::make_unique<TableViewCursor>(m_oDispatcher, pView->m_oSource, std::move(lColumns),
                                                  m_iBudget, m_iModule);
    return EResultCode::Success;
}

TableViewPlugin::Deadline::Deadline(TableViewPlugin& a_oPlugin)
    : m_oPlugin(a_oPlugin),
      m_bOutermost(!a_oPlugin.m_oEnd)
{
    if (m_bOutermost) {
        m_oPlugin.m_oEnd = Clock::now() + m_oPlugin.m_oCeiling;
    }
}

TableViewPlugin::Deadline::~Deadline()
{
    if (m_bOutermost) {
        m_oPlugin.m_oEnd.reset();
    }
}

void TableViewPlugin::logFailedRead(View& a_oView, const std::string& a_sText)
{
    if (const auto oNow = Clock::now(); oNow >= a_oView.m_oNextLog) {
        a_oView.m_oNextLog = oNow + std::chrono::minutes(1);
        ZEL_Sysloglevel_error(m_iModule, here(), "View `%s` %s",
                              a_oView.m_oSource.m_oDefinition.getName().c_str(), a_sText.c_str());
    }
}

EResultCode TableViewPlugin::tookTooLong(const std::string& a_sView)
{
    logFailedRead(*findTable(a_sView), "takes too long");
    return EResultCode::Failure;
}

/// Opens the read, and logs when a source fails.
EResultCode TableViewPlugin::openRead(TableViewCursor& a_oRows, const std::string& a_sView)
{
    const EResultCode eResult = a_oRows.open();
    if (eResult != EResultCode::Success && eResult != EResultCode::Pending) {
        logFailedRead(*findTable(a_sView),
                      std::string("has no rows: a table of it gives: ") + eResult.strerror());
    }
    return eResult;
}

EResultCode TableViewPlugin::getSize(unsigned int& a_iSize, const void* a_pHandle,
                                     const std::string& a_sTable)
{
    assertCall(a_pHandle);
    a_iSize = 0;
    if (a_sTable == RegisteredViews::c_pTable) {
        return EResultCode::Success;
    }
    const Deadline oDeadline(*this);
    std::unique_ptr<TableViewCursor> pRows;
    if (const EResultCode eResult = makeCursor(pRows, a_sTable, {})) {
        return eResult;
    }
    View& oView = *findTable(a_sTable);
    const unsigned long iVersion = TableViewCursor::getVersion(m_oDispatcher, basesOf(a_sTable));
    if (oView.m_oSize && oView.m_oSize->m_iVersion == iVersion) {
        a_iSize = oView.m_oSize->m_iRows;
        return EResultCode::Success;
    }
    const bool bOpened = openRead(*pRows, a_sTable) == EResultCode::Success;
    while (pRows->nextJoined(oDeadline.end())) {
        if (pRows->isComplete()) {
            ++a_iSize;
        }
    }
    const EResultCode eEnd = pRows->getEnd();
    if (eEnd == EResultCode::Pending) {
        return eEnd;
    }
    if (eEnd == EResultCode::Success) {
        return tookTooLong(a_sTable);
    }
    if (bOpened && oView.m_bStored && eEnd == EResultCode::NoRow) {
        oView.m_oSize = Size{iVersion, a_iSize};
    }
    return EResultCode::Success;
}

EResultCode TableViewPlugin::selectRow(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                       unsigned int a_iIndex, const NameList& a_lColumns)
{
    assertCall(a_pHandle);
    if (a_sTable == RegisteredViews::c_pTable) {
        return m_oRegistered.selectRow(a_lRow, a_pHandle, a_sTable, a_iIndex, a_lColumns);
    }
    const Deadline oDeadline(*this);
    View* pView = findTable(a_sTable);
    std::unique_ptr<Position> pPosition = pView == nullptr ? nullptr : std::move(pView->m_pPosition);
    if (pPosition != nullptr && (pPosition->m_lColumns != a_lColumns || pPosition->m_iNext > a_iIndex ||
                                 !pPosition->m_pRows->isCurrent())) {
        pPosition.reset();
    }
    for (;;) {
        const bool bGoesOn = pPosition != nullptr;
        if (!bGoesOn) {
            pPosition = std::make_unique<Position>(a_lColumns);
            if (const EResultCode eResult = makeCursor(pPosition->m_pRows, a_sTable, a_lColumns)) {
                return eResult;
            }
            openRead(*pPosition->m_pRows, a_sTable);
        }
        TableViewCursor& oRows = *pPosition->m_pRows;
        oRows.setRange(a_iIndex - std::exchange(pPosition->m_iNext, a_iIndex + 1), 1);
        systema::RowFiller oRow(a_lRow, oRows.getColumns());
        const EResultCode eResult = oRows.fetch(oRow, oDeadline.end());
        if (oRow.isComplete()) {
            if (pView->m_bStored) { // live tables change without a new version
                pPosition->m_bUsed = true;
                pView->m_pPosition = std::move(pPosition);
            }
            return eResult;
        }
        if (!bGoesOn || eResult != EResultCode::Busy) {
            return eResult == EResultCode::Success ? tookTooLong(a_sTable) : eResult;
        }
        pPosition.reset(); // another table of the database has changed
    }
}

EResultCode TableViewPlugin::selectKey(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                       const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                       const NameList& a_lColumns)
{
    assertCall(a_pHandle);
    if (a_sTable == RegisteredViews::c_pTable) {
        return m_oRegistered.selectKey(a_lRow, a_pHandle, a_sTable, a_sKeyColumn, a_sKeyValue, a_lColumns);
    }
    const Deadline oDeadline(*this);
    std::unique_ptr<TableViewCursor> pRows;
    EResultCode eResult = makeCursor(pRows, a_sTable, a_lColumns);
    if (eResult == EResultCode::Success) {
        eResult = pRows->setKey(a_sKeyColumn, a_sKeyValue);
    }
    if (eResult != EResultCode::Success) {
        return eResult;
    }
    const auto find = [&] {
        openRead(*pRows, a_sTable);
        while (pRows->nextJoined(oDeadline.end())) {
            ValueList lRow;
            if (pRows->fillResult(lRow) == EResultCode::Success) {
                a_lRow = std::move(lRow);
                return true;
            }
        }
        return false;
    };
    if (find() || (pRows->getEnd() == EResultCode::NoRow && pRows->translateKey() && find())) {
        return EResultCode::Success;
    }
    return pRows->getEnd() == EResultCode::Success ? tookTooLong(a_sTable) : pRows->getEnd();
}

EResultCode TableViewPlugin::openRows(std::unique_ptr<systema::IRowCursor>& a_pCursor, const void* a_pHandle,
                                      const std::string& a_sTable, unsigned int a_iFirst,
                                      unsigned int a_iCount, const NameList& a_lColumns)
{
    assertCall(a_pHandle);
    if (a_sTable == RegisteredViews::c_pTable) {
        return systema::PositionCursor::open(a_pCursor, m_oRegistered, a_pHandle, a_sTable, a_iFirst,
                                             a_iCount, a_lColumns, RegisteredViews::c_iVersion);
    }
    const Deadline oDeadline(*this);
    std::unique_ptr<TableViewCursor> pRows;
    if (const EResultCode eResult = makeCursor(pRows, a_sTable, a_lColumns)) {
        return eResult;
    }
    pRows->setRange(a_iFirst, a_iCount);
    if (const EResultCode eResult = openRead(*pRows, a_sTable)) {
        return eResult;
    }
    if (pRows->getEnd() != EResultCode::Success && pRows->getEnd() != EResultCode::NoRow) {
        return pRows->getEnd();
    }
    a_pCursor = std::move(pRows);
    return EResultCode::Success;
}

} // namespace zel
