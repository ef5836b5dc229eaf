#include "plugins/tableviewcursor.h"

#include "systema/rowfiller.h"
#include "zel/log.h"

#include <algorithm>
#include <utility>

namespace zel {

using systema::EResultCode;
using systema::NameList;
using systema::Value;
using systema::ValueList;

TableViewCursor::TableViewCursor(systema::ConfigDispatcher& a_oSource, const TableView& a_oView,
                                 TableViewQuestions& a_oQuestions, Columns a_lColumns, int a_iModule)
    : m_oSource(a_oSource),
      m_oView(a_oView),
      m_oQuestions(a_oQuestions),
      m_lColumns(std::move(a_lColumns)),
      m_iModule(a_iModule)
{
    for (const auto* pColumn : m_lColumns) {
        m_lNames.add(pColumn->m_sName);
    }
}

/// Asks a source. When its answer is pending the cursor ends with that.
template<typename Question>
EResultCode TableViewCursor::ask(Question a_oQuestion)
{
    const EResultCode eResult = m_oQuestions.ask(a_oQuestion);
    if (eResult == EResultCode::Pending) {
        m_eEnd = eResult;
    }
    return eResult;
}

EResultCode TableViewCursor::setKey(const std::string& a_sColumn, const std::string& a_sValue)
{
    m_pKey = m_oView.getColumn(a_sColumn);
    if (m_pKey == nullptr) {
        return EResultCode::NoKey;
    }
    m_sKey = a_sValue;
    const std::string& sTable = m_oView.getTable(*m_pKey);
    systema::ColumnList lSchema;
    const auto getSchema = [&] { return m_oSource.getSchema(lSchema, this, sTable); };
    if (const EResultCode eResult = ask(getSchema)) {
        return eResult;
    }
    return lSchema.getColumn(m_pKey->m_sSourceColumn) != nullptr ? EResultCode::Success : EResultCode::NoKey;
}

bool TableViewCursor::translateKey()
{
    const std::string& sColumn = m_pKey->m_sSourceColumn;
    ValueList oFound;
    const EResultCode eResult = ask([&] {
        return m_oSource.selectKey(oFound, this, m_oView.getTable(*m_pKey), sColumn, m_sKey, {sColumn});
    });
    if (eResult != EResultCode::Success || oFound.toText(sColumn) == m_sKey) {
        return false;
    }
    m_sKey = oFound.toText(sColumn);
    return true;
}

void TableViewCursor::open(unsigned int a_iFirst, unsigned int a_iCount)
{
    m_iSkip = a_iFirst;
    m_iLeft = a_iCount;
    m_iVersion1AtOpen = getVersion1();
    const auto sizeOf = [&](const std::string& a_sTable) {
        unsigned int iSize = 0;
        const EResultCode eResult = ask([&] { return m_oSource.getSize(iSize, this, a_sTable); });
        return eResult == EResultCode::Success ? iSize : 0;
    };
    const unsigned int iRows = std::min(sizeOf(m_oView.getTable1()), sizeOf(m_oView.getTable2()));
    if (iRows > 0) {
        m_lColumns1 = sourceColumns(1);
        const NameList lColumns2 = sourceColumns(2);
        m_eEnd =
            ask([&] { return m_oSource.openRows(m_pRows, this, m_oView.getTable2(), 0, iRows, lColumns2); });
    }
}

NameList TableViewCursor::sourceColumns(int a_iIndex) const
{
    NameList lNames{a_iIndex == 1 ? m_oView.getColumn1() : m_oView.getColumn2()};
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
    const std::string& sTable = a_iIndex == 1 ? m_oView.getTable1() : m_oView.getTable2();
    systema::ColumnList lSchema;
    m_oQuestions.ask([&] { return m_oSource.getSchema(lSchema, this, sTable); });
    // A stored table would refuse the others for one that it lacks, and a virtual one may have columns that
    // it does not announce: then the rows are read whole, to show what is in them.
    const bool bAnnounced = std::ranges::all_of(
        lNames, [&](const auto& a_sName) { return lSchema.getColumn(a_sName) != nullptr; });
    return bAnnounced ? lNames : NameList();
}

bool TableViewCursor::nextJoined(Clock::time_point a_oEnd)
{
    while (m_eEnd == EResultCode::Success && Clock::now() < a_oEnd) {
        m_eEnd = ask([&] { return systema::readRow(m_oRow2, *m_pRows); });
        if (m_eEnd == EResultCode::Success && join()) {
            return true;
        }
    }
    return false;
}

bool TableViewCursor::join()
{
    const Value* pValue = m_oRow2.find(m_oView.getColumn2());
    if (pValue == nullptr || !mayShowKey(m_oRow2)) {
        return false;
    }
    m_oRow1.clear();
    const EResultCode eResult = ask([&] {
        return m_oSource.selectKey(m_oRow1, this, m_oView.getTable1(), m_oView.getColumn1(), pValue->toText(),
                                   m_lColumns1);
    });
    return eResult == EResultCode::Success && mayShowKey(m_oRow1);
}

bool TableViewCursor::mayShowKey(const ValueList& a_oRow) const
{
    if (m_pKey == nullptr || &rowOf(*m_pKey) != &a_oRow) {
        return true;
    }
    const Value* pValue = a_oRow.find(m_pKey->m_sSourceColumn);
    return pValue != nullptr && pValue->getType() != systema::EDataType::Null && pValue->toText() == m_sKey;
}

bool TableViewCursor::isComplete() const
{
    for (const auto* pColumn : m_lColumns) {
        if (find(*pColumn) == nullptr) {
            ZEL_Sysloglevel_error(m_iModule, here(), "Could not find colum `%s` in table `%s`",
                                  pColumn->m_sSourceColumn.c_str(), m_oView.getTable(*pColumn).c_str());
            return false;
        }
    }
    return true;
}

EResultCode TableViewCursor::fillResult(ValueList& a_oRow) const
{
    if (!isComplete()) {
        return EResultCode::NoKey;
    }
    for (const auto* pColumn : m_lColumns) {
        a_oRow.add(pColumn->m_sName, *find(*pColumn));
    }
    return EResultCode::Success;
}

EResultCode TableViewCursor::fetch(systema::IRowSink& a_oSink)
{
    return fetch(a_oSink, Clock::now() + systema::c_oFetchTime);
}

EResultCode TableViewCursor::fetch(systema::IRowSink& a_oSink, Clock::time_point a_oEnd)
{
    if (getVersion1() != m_iVersion1AtOpen) { // the cursor of table 2 looks after that
        return EResultCode::Busy;
    }
    if (m_oQuestions.isAsking()) {
        return EResultCode::NoRow; // for who asks meanwhile; later fetches go on
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
        for (const auto* pColumn : m_lColumns) {
            a_oSink.addValue(*find(*pColumn));
        }
        if (!a_oSink.endRow()) {
            return EResultCode::Success;
        }
    }
    return m_iLeft == 0 ? EResultCode(EResultCode::NoRow) : m_eEnd;
}

} // namespace zel
