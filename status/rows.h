// Reading by position and by key from rows that are kept in a vector. A row that has a member m_iId is
// numbered: it is the row's position, counted from 1, when it was last read by position, or first looked at
// by a key.
//
// Functions over the rows and columns of a sub-plugin, on its thread; nothing here keeps state.
#pragma once

#include "configmanager/columntable.h"

#include <cstddef>
#include <string>
#include <vector>

namespace zel {

/// Gives the row the number of its position, counted from 0.
void number(auto& a_oRow, std::size_t a_iPosition)
{
    if constexpr (requires { a_oRow.m_iId; }) {
        a_oRow.m_iId = static_cast<decltype(a_oRow.m_iId)>(a_iPosition + 1);
    }
}

/// The row at a position, counted from 0, after it was numbered; null past the end.
template<class Row>
Row* rowAt(std::vector<Row>& a_lRows, unsigned a_iPosition)
{
    if (a_iPosition >= a_lRows.size()) {
        return nullptr;
    }
    number(a_lRows[a_iPosition], a_iPosition);
    return &a_lRows[a_iPosition];
}

/// Numbers the rows that have no number, so that a key finds them by the one that a list of all rows shows.
void numberNewRows(auto& a_lRows)
{
    for (std::size_t i = 0; i < a_lRows.size(); ++i) {
        if constexpr (requires { a_lRows[i].m_iId; }) {
            if (a_lRows[i].m_iId == 0) {
                number(a_lRows[i], i);
            }
        }
    }
}

/// Appends the wanted columns of the row at a position, which it numbers.
/// 0; 9 for an unknown column; 10 past the end.
template<class Row>
systema::EResultCode selectPosition(systema::ValueList& a_lRow, std::vector<Row>& a_lRows,
                                    const auto& a_aColumns, unsigned a_iPosition,
                                    const systema::NameList& a_lWanted)
{
    const Row* pRow = rowAt(a_lRows, a_iPosition);
    return pRow == nullptr ? systema::EResultCode(systema::EResultCode::NoRow)
                           : configmanager::serverlib::selectColumns(a_lRow, *pRow, a_aColumns, a_lWanted);
}

/// The first row whose key column has the value; null when no row has it, and for an unknown key column.
/// Numbers rows without a number.
auto* rowOf(auto& a_lRows, const auto& a_aKeys, const std::string& a_sKeyColumn,
            const std::string& a_sKeyValue)
{
    if (const auto* pKey = configmanager::serverlib::findColumn(a_aKeys, a_sKeyColumn)) {
        numberNewRows(a_lRows);
        for (auto& oRow : a_lRows) {
            if (configmanager::serverlib::matchesKey(pKey->m_pGet(oRow), a_sKeyValue)) {
                return &oRow;
            }
        }
    }
    return static_cast<decltype(a_lRows.data())>(nullptr);
}

/// Appends the wanted columns of the first row whose key column has the value.
/// 0; 9 for an unknown wanted column; 10 when no row has it, and for an unknown key column.
template<class Row>
systema::EResultCode selectKey(systema::ValueList& a_lRow, std::vector<Row>& a_lRows, const auto& a_aColumns,
                               const auto& a_aKeys, const std::string& a_sKeyColumn,
                               const std::string& a_sKeyValue, const systema::NameList& a_lWanted)
{
    const Row* pRow = rowOf(a_lRows, a_aKeys, a_sKeyColumn, a_sKeyValue);
    return pRow == nullptr ? systema::EResultCode(systema::EResultCode::NoRow)
                           : configmanager::serverlib::selectColumns(a_lRow, *pRow, a_aColumns, a_lWanted);
}

} // namespace zel
