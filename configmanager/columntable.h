// A virtual table says its columns once: name, type and getter stand in one line, in a constexpr array of
// Column over the plain struct that holds one row; schema and rows are both made from it.
//
// Functions over such arrays (or spans of them), which must outlive the call; nothing here keeps state.
#pragma once

#include "systema/lists.h"
#include "systema/protocol.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace configmanager::serverlib {

template<class Row>
struct Column
{
    const char* m_pName;
    unsigned m_iType; // systema::EDataType
    systema::Value (*m_pGet)(const Row&);
};

/// A cell of an integer column.
inline systema::Value integer(long long a_iNumber)
{
    return systema::Value(systema::EDataType::Integer, static_cast<int>(a_iNumber));
}

/// The number of a cell that a client writes; nullopt for NULL and for texts.
inline std::optional<long long> numberOf(const systema::Value& a_oCell)
{
    switch (a_oCell.getType()) {
    case systema::EDataType::Integer:
        return a_oCell.getInteger();
    case systema::EDataType::Unsigned:
        return a_oCell.getUnsigned();
    default:
        return std::nullopt;
    }
}

/// What the path leads to: a member of the row, or a member of that, and so on; functions are called.
template<auto Member, auto... Path>
constexpr decltype(auto) follow(const auto& a_oFrom)
{
    if constexpr (sizeof...(Path) == 0) {
        return std::invoke(Member, a_oFrom);
    } else {
        return follow<Path...>(std::invoke(Member, a_oFrom));
    }
}

template<class Row, class Member>
Row ownerOf(Member Row::*);

/// The column of what the path leads to: a text column for a text, an integer column for any number.
template<auto Member, auto... Path>
constexpr auto column(const char* a_pName)
{
    using Row = decltype(ownerOf(Member));
    using Cell = std::remove_cvref_t<decltype(follow<Member, Path...>(std::declval<Row>()))>;
    if constexpr (std::is_integral_v<Cell>) {
        return Column<Row>{a_pName, systema::EDataType::Integer,
                           [](const Row& a_oRow) { return integer(follow<Member, Path...>(a_oRow)); }};
    } else {
        return Column<Row>{a_pName, systema::EDataType::Text, [](const Row& a_oRow) {
                               return systema::Value(systema::EDataType::Text,
                                                     follow<Member, Path...>(a_oRow));
                           }};
    }
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

void appendSchema(systema::ColumnList& a_lColumns, const auto& a_aColumns)
{
    for (const auto& oColumn : a_aColumns) {
        a_lColumns.add(oColumn.m_pName, oColumn.m_iType);
    }
}

/// Appends the wanted columns of the row in the order wanted, all in table order when none is named.
/// 0; 9 at the first column that the table lacks, and those before it stay appended.
template<class Row>
systema::EResultCode selectColumns(systema::ValueList& a_lRow, const Row& a_oRow, const auto& a_aColumns,
                                   const systema::NameList& a_lWanted)
{
    if (a_lWanted.empty()) {
        for (const auto& oColumn : a_aColumns) {
            a_lRow.add(oColumn.m_pName, oColumn.m_pGet(a_oRow));
        }
    }
    for (const auto& sName : a_lWanted) {
        const auto* pColumn = findColumn(a_aColumns, sName);
        if (pColumn == nullptr) {
            return systema::EResultCode::NoKey;
        }
        a_lRow.add(sName, pColumn->m_pGet(a_oRow));
    }
    return systema::EResultCode::Success;
}

/// The same, but names that the table lacks are left out.
template<class Row>
void selectKnownColumns(systema::ValueList& a_lRow, const Row& a_oRow, const auto& a_aColumns,
                        const systema::NameList& a_lWanted)
{
    if (a_lWanted.empty()) {
        selectColumns(a_lRow, a_oRow, a_aColumns, a_lWanted);
    }
    for (const auto& sName : a_lWanted) {
        if (const auto* pColumn = findColumn(a_aColumns, sName)) {
            a_lRow.add(sName, pColumn->m_pGet(a_oRow));
        }
    }
}

/// True when the cell shows the value of a key, so that no key finds a row that does not show it: "01" and
/// "1x" are no keys of a cell that shows 1. NULL shows nothing.
inline bool matchesKey(const systema::Value& a_oCell, const std::string& a_sKeyValue)
{
    switch (a_oCell.getType()) {
    case systema::EDataType::Null:
        return false;
    case systema::EDataType::Text:
        return a_oCell.getText() == a_sKeyValue;
    default:
        return a_oCell.toText() == a_sKeyValue;
    }
}

} // namespace configmanager::serverlib
