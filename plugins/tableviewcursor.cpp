#include "plugins/tableviewcursor.h"

#include "systema/storedkey.h"
#include "zel/log.h"

#include <algorithm>
#include <utility>

namespace zel {

using systema::EDataType;
using systema::EResultCode;
using systema::NameList;
using systema::ValueList;

TableViewCursor::TableViewCursor(systema::ConfigDispatcher& a_oDispatcher, TableViewSource& a_oView,
                                 Columns a_lColumns, std::size_t& a_iBudget, int a_iModule)
    : m_oDispatcher(a_oDispatcher),
      m_oView(a_oView),
      m_lColumns(std::move(a_lColumns)),
      m_iBudget(a_iBudget),
      m_iModule(a_iModule)
{
    for (const auto* pColumn : m_lColumns) {
        m_lNames.add(pColumn->m_sName);
    }
}

/// Runs a query of a source. A pending source ends the cursor with Pending.
template<typename Query>
EResultCode TableViewCursor::query(Query a_oQuery)
{
    const EResultCode eResult = m_oView.m_oRecursion.query(a_oQuery);
    if (eResult == EResultCode::Pending) {
        m_eEnd = eResult;
    }
    return eResult;
}

EResultCode TableViewCursor::setKey(const std::string& a_sColumn, const std::string& a_sValue)
{
    m_pKey = view().getColumn(a_sColumn);
    if (m_pKey == nullptr) {
        return EResultCode::NoKey;
    }
    m_sKey = a_sValue;
    const std::string& sTable = view().getTable(*m_pKey);
    systema::ColumnList lSchema;
    if (const EResultCode eResult = query([&] { return m_oDispatcher.getSchema(lSchema, this, sTable); })) {
        return eResult;
    }
    return lSchema.getColumn(m_pKey->m_sSourceColumn) != nullptr ? EResultCode::Success : EResultCode::NoKey;
}

/// The key value that finds the text in the table.
std::string TableViewCursor::keyFor(const std::string& a_sTable, std::string_view a_sText) const
{
    return m_oDispatcher.isStored(a_sTable) ? systema::storedKey(a_sText) : std::string(a_sText);
}

bool TableViewCursor::translateKey()
{
    const std::string& sColumn = m_pKey->m_sSourceColumn;
    ValueList oFound;
    const EResultCode eResult = query([&] {
        const std::string& sTable = view().getTable(*m_pKey);
        return m_oDispatcher.selectKey(oFound, this, sTable, sColumn, keyFor(sTable, m_sKey), {sColumn});
    });
    if (eResult != EResultCode::Success || oFound.toText(sColumn) == m_sKey) {
        return false;
    }
    m_sKey = oFound.toText(sColumn);
    return true;
}

// ---------------------------------------------------------------------------------------------------------
// Opening

EResultCode TableViewCursor::open()
{
    m_eEnd = EResultCode::NoRow;
    m_iVersion1 = getVersion(m_oView.m_lBases1);
    m_iVersion2 = getVersion(m_oView.m_lBases2);
    if (!m_oView.m_bJoinable) {
        return EResultCode::Success;
    }
    unsigned int iRows = 0;
    const EResultCode eResult = countRows(iRows);
    if (iRows == 0) {
        return eResult;
    }
    prepareRows();
    const NameList lAsked2 = askedColumns(view().getTable2(), m_lWanted2);
    m_eEnd =
        query([&] { return m_oDispatcher.openRows(m_pRows2, this, view().getTable2(), 0, iRows, lAsked2); });
    if (m_eEnd == EResultCode::Success) {
        m_pWalked->setColumns(m_pRows2->getColumns());
    }
    return EResultCode::Success;
}

/// Sets the smaller of the two sizes. A table that refuses its size counts as empty; the code is why, 0 when
/// there is no such table.
EResultCode TableViewCursor::countRows(unsigned int& a_iRows)
{
    EResultCode eFailure;
    const auto sizeOf = [&](const std::string& a_sTable) {
        unsigned int iSize = 0;
        const EResultCode eResult = query([&] { return m_oDispatcher.getSize(iSize, this, a_sTable); });
        if (eResult != EResultCode::Success && eResult != EResultCode::NoTable &&
            eResult != EResultCode::NoRow) {
            eFailure = eResult;
        }
        return eResult == EResultCode::Success ? iSize : 0;
    };
    a_iRows = std::min(sizeOf(view().getTable1()), sizeOf(view().getTable2()));
    return eFailure;
}

/// Decides which columns to read, and drops what an earlier read has kept.
void TableViewCursor::prepareRows()
{
    m_lWanted1 = wantedColumns(1);
    m_lWanted2 = wantedColumns(2);
    m_lAsked1 = askedColumns(view().getTable1(), m_lWanted1);
    m_lShown.clear();
    for (const auto* pColumn : m_lColumns) {
        m_lShown.push_back({pColumn, cellOf(*pColumn)});
    }
    m_iKeyCell = m_pKey != nullptr ? cellOf(*m_pKey) : 0;
    m_pPartners = std::make_unique<TableViewPartners>(m_lWanted1, m_iBudget);
    m_pFound = std::make_unique<CellRows>(m_lWanted1);
    m_pWalked = std::make_unique<CellRows>(m_lWanted2);
    m_pRows1.reset();
    m_iLookUps = 0;
    m_bKeyed = m_bTable1Read = false;
}

void TableViewCursor::setRange(unsigned int a_iSkip, unsigned int a_iCount)
{
    m_iSkip = a_iSkip;
    m_iLeft = a_iCount;
}

unsigned long TableViewCursor::getVersion(const systema::ConfigDispatcher& a_oDispatcher,
                                          const NameList& a_lTables)
{
    unsigned long iSum = 0; // no version ever falls, so the sum differs when one of them does
    for (const auto& sTable : a_lTables) {
        iSum += a_oDispatcher.getVersion(sTable);
    }
    return iSum;
}

bool TableViewCursor::isCurrent() const
{
    return getVersion(m_oView.m_lBases1) == m_iVersion1 && getVersion(m_oView.m_lBases2) == m_iVersion2;
}

NameList TableViewCursor::wantedColumns(int a_iIndex) const
{
    NameList lNames{a_iIndex == 1 ? view().getColumn1() : view().getColumn2()};
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
    return lNames;
}

/// The columns to ask the table for. A stored table refuses a read that names a column it lacks, so only
/// known ones are asked for. A virtual table may serve columns that its schema lacks, so when one is unknown
/// the list is empty, which reads all columns.
NameList TableViewCursor::askedColumns(const std::string& a_sTable, const NameList& a_lWanted)
{
    systema::ColumnList lSchema;
    query([&] { return m_oDispatcher.getSchema(lSchema, this, a_sTable); });
    NameList lAnnounced;
    for (const auto& sName : a_lWanted) {
        if (lAnnounced.empty() ||
            lSchema.getColumn(sName) != nullptr) { // the key may be an alias such as rowid
            lAnnounced.add(sName);
        }
    }
    const bool bKnown = lAnnounced.size() == a_lWanted.size() && lSchema.getColumn(a_lWanted[0]) != nullptr;
    return bKnown || m_oDispatcher.isStored(a_sTable) ? lAnnounced : NameList();
}

std::size_t TableViewCursor::cellOf(const TableViewColumns& a_oColumn) const
{
    const NameList& lWanted = a_oColumn.m_iIndex == 1 ? m_lWanted1 : m_lWanted2;
    return static_cast<std::size_t>(std::ranges::find(lWanted, a_oColumn.m_sSourceColumn) - lWanted.begin());
}

// ---------------------------------------------------------------------------------------------------------
// Joining

bool TableViewCursor::nextJoined(Clock::time_point a_oEnd)
{
    while (m_eEnd == EResultCode::Success && Clock::now() < a_oEnd) {
        if (mustReadTable1()) {
            readTable1();
            continue;
        }
        m_pWalked->clear();
        const EResultCode eResult = query([&] { return m_pRows2->fetch(*m_pWalked); });
        if (m_pWalked->size() == 0) {
            m_eEnd = eResult;
        } else if (join()) {
            return true;
        }
    }
    return false;
}

bool TableViewCursor::mustReadTable1() const
{
    // A table that does not accept the column as a key has no partners. A view is read at once, as each
    // look-up in it walks its rows.
    return !m_bTable1Read && (m_oView.m_bTable1IsView || (m_bKeyed && m_iLookUps >= c_iMostLookUps));
}

void TableViewCursor::readTable1()
{
    const std::string& sTable = view().getTable1();
    EResultCode eResult;
    if (m_pRows1 == nullptr) {
        eResult = m_lAsked1.empty() // the place of the join column in the rows is unknown
                      ? EResultCode::NoKey
                      : query([&] { return m_oDispatcher.openKeyRows(m_pRows1, this, sTable, m_lAsked1); });
    }
    if (eResult == EResultCode::Success && m_pRows1 != nullptr) {
        eResult = query([&] { return m_pPartners->read(*m_pRows1); });
        if (eResult == EResultCode::Success) {
            return; // there may be more
        }
        if (eResult == EResultCode::Busy) { // another table of the database has changed: read again
            m_pRows1.reset();
            return;
        }
        if (eResult == EResultCode::NoRow && m_oDispatcher.isStored(sTable)) {
            m_pPartners->setStoredComplete();
        }
    }
    m_pRows1.reset();
    m_bTable1Read = true;
}

bool TableViewCursor::join()
{
    m_oRow2 = (*m_pWalked)[0];
    if (m_oRow2[0].m_iType == CellRows::c_iMissing || !mayShowKey(2)) {
        return false;
    }
    CellRows::Buffer aBuffer;
    const std::string_view sKey = CellRows::textOf(m_oRow2[0], aBuffer);
    if (const auto oKnown = m_pPartners->find(sKey)) {
        m_oRow1 = *oKnown;
    } else {
        lookUp(sKey);
    }
    return !m_oRow1.empty() && mayShowKey(1);
}

void TableViewCursor::lookUp(std::string_view a_sKey)
{
    ++m_iLookUps;
    ValueList lRow;
    const EResultCode eResult = query([&] {
        return m_oDispatcher.selectKey(lRow, this, view().getTable1(), view().getColumn1(),
                                       keyFor(view().getTable1(), a_sKey), m_lAsked1);
    });
    m_bKeyed = m_bKeyed || eResult == EResultCode::Success || eResult == EResultCode::NoRow;
    m_pFound->clear();
    m_oRow1 = {};
    if (eResult == EResultCode::Success) {
        m_pFound->add(lRow);
        m_oRow1 = (*m_pFound)[0];
    }
    if (eResult != EResultCode::Pending) {
        m_pPartners->remember(a_sKey, m_oRow1);
    }
}

bool TableViewCursor::mayShowKey(int a_iIndex) const
{
    if (m_pKey == nullptr || m_pKey->isOfTable1() != (a_iIndex == 1)) {
        return true;
    }
    const CellRows::Cell& oCell = find({m_pKey, m_iKeyCell});
    CellRows::Buffer aBuffer;
    return oCell.m_iType != CellRows::c_iMissing && oCell.m_iType != EDataType::Null &&
           CellRows::textOf(oCell, aBuffer) == m_sKey;
}

// ---------------------------------------------------------------------------------------------------------
// Rows

bool TableViewCursor::isComplete()
{
    for (const auto& oShown : m_lShown) {
        if (find(oShown).m_iType != CellRows::c_iMissing) {
            continue;
        }
        if (!std::exchange(m_bLacksLogged, true)) {
            ZEL_Sysloglevel_error(m_iModule, here(), "Could not find colum `%s` in table `%s`",
                                  oShown.m_pColumn->m_sSourceColumn.c_str(),
                                  view().getTable(*oShown.m_pColumn).c_str());
        }
        return false;
    }
    return true;
}

EResultCode TableViewCursor::fillResult(ValueList& a_lRow)
{
    if (!isComplete()) {
        return EResultCode::NoKey;
    }
    for (const auto& oShown : m_lShown) {
        a_lRow.add(oShown.m_pColumn->m_sName, find(oShown).toValue());
    }
    return EResultCode::Success;
}

EResultCode TableViewCursor::fetch(systema::IRowSink& a_oSink)
{
    return fetch(a_oSink, Clock::now() + systema::c_oFetchTime);
}

EResultCode TableViewCursor::fetch(systema::IRowSink& a_oSink, Clock::time_point a_oEnd)
{
    if (getVersion(m_oView.m_lBases1) != m_iVersion1) { // the cursor of table 2 checks its own
        return EResultCode::Busy;
    }
    if (m_oView.m_oRecursion.isQuerying()) {
        return EResultCode::NoRow; // this fetch is made by a source of the view; later fetches go on
    }
    while (m_iLeft > 0 && nextJoined(a_oEnd)) {
        if (m_iSkip > 0) {
            --m_iSkip;
            continue;
        }
        --m_iLeft;
        if (!isComplete()) {
            return EResultCode::NoKey;
        }
        for (const auto& oShown : m_lShown) {
            CellRows::send(a_oSink, find(oShown));
        }
        if (!a_oSink.endRow()) {
            return EResultCode::Success;
        }
    }
    return m_iLeft == 0 ? EResultCode(EResultCode::NoRow) : m_eEnd;
}

} // namespace zel
