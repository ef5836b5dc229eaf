// A virtual table says its columns once: name, type and getter stand in one line, in a constexpr array of
// Column over the plain struct that holds one row; schema and rows are both made from it.
//
// Functions over such arrays (or spans of them), which must outlive the call; nothing here keeps state.
#pragma once

#include "systema/lists.h"
#include "systema/protocol.h"

#include <cstdlib>
#include <string>
#include <string_view>

namespace configmanager::serverlib {

template<class Row>
struct Column
{
    const char* m_pName;
    unsigned m_iType; // systema::EDataType
    systema::Value (*m_pGet)(const Row&);
};

/// A cell of an integer column.
inline systema::Value integer(long a_iNumber)
{
    return systema::Value(systema::EDataType::Integer, static_cast<int>(a_iNumber));
}

/// The column of the name, null when the table has none.
constexpr auto findColumn(const auto& a_aColumns, std::string_view a_sName) -> decltype(&a_aColumns[0])
{
    for (const auto& oColumn : a_aColumns) {
        if (oColumn.m_pName == a_sName) {
            return &oColumn;
        }
    }
    return nullptr;
}

void appendSchema(systema::ColumnList& a_columns, const auto& a_aColumns)
{
    for (const auto& oColumn : a_aColumns) {
        a_columns.add(oColumn.m_pName, oColumn.m_iType);
    }
}

/// Appends the wanted columns of the row in the order wanted, all in table order when none is named.
/// 0; 9 at the first column that the table lacks, and those before it stay appended.
template<class Row>
systema::EResultCode selectColumns(systema::ValueList& a_row, const Row& a_oRow, const auto& a_aColumns,
                                   const systema::NameList& a_lWanted)
{
    if (a_lWanted.empty()) {
        for (const auto& oColumn : a_aColumns) {
            a_row.add(oColumn.m_pName, oColumn.m_pGet(a_oRow));
        }
    }
    for (const auto& sName : a_lWanted) {
        const auto* pColumn = findColumn(a_aColumns, sName);
        if (pColumn == nullptr) {
            return systema::EResultCode::NoKey;
        }
        a_row.add(sName, pColumn->m_pGet(a_oRow));
    }
    return systema::EResultCode::Success;
}

/// The same, but names that the table lacks are left out.
template<class Row>
void selectKnownColumns(systema::ValueList& a_row, const Row& a_oRow, const auto& a_aColumns,
                        const systema::NameList& a_lWanted)
{
    if (a_lWanted.empty()) {
        selectColumns(a_row, a_oRow, a_aColumns, a_lWanted);
    }
    for (const auto& sName : a_lWanted) {
        if (const auto* pColumn = findColumn(a_aColumns, sName)) {
            a_row.add(sName, pColumn->m_pGet(a_oRow));
        }
    }
}

/// True when the cell has the value of a key: a text exactly, a number the lowest 32 bits of the number that
/// the key starts with.
inline bool matchesKey(const systema::Value& a_oCell, const std::string& a_sKeyValue)
{
    return a_oCell.getType() == systema::EDataType::Text
               ? a_oCell.getText() == a_sKeyValue
               : a_oCell.getInteger() == static_cast<int>(std::strtol(a_sKeyValue.c_str(), nullptr, 10));
}

} // namespace configmanager::serverlib
