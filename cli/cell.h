// What the commands ask of a cell. Free functions over plain data.
#pragma once

#include "systema/wire.h"

#include <optional>
#include <string>
#include <string_view>

namespace systema::cli {

inline bool isNull(const wire::Cell& a_oCell)
{
    return a_oCell.m_iType == EDataType::Null;
}

inline bool isNumber(const wire::Cell& a_oCell)
{
    return a_oCell.m_iType == EDataType::Integer || a_oCell.m_iType == EDataType::Unsigned;
}

/// The number of a cell that isNumber().
inline std::int64_t cellNumber(const wire::Cell& a_oCell)
{
    return a_oCell.m_iType == EDataType::Integer ? static_cast<std::int32_t>(a_oCell.m_iNumber)
                                                 : static_cast<std::int64_t>(a_oCell.m_iNumber);
}

/// The bytes of a text, a number in decimal, nothing for NULL.
inline std::string cellText(const wire::Cell& a_oCell)
{
    return isNumber(a_oCell) ? std::to_string(cellNumber(a_oCell)) : std::string(a_oCell.m_sText);
}

/// The cell shows the text; NULL shows none.
inline bool showsText(const wire::Cell& a_oCell, std::string_view a_sText)
{
    return !isNull(a_oCell) && cellText(a_oCell) == a_sText;
}

/// The cell shows what a key is to be: the text, or NULL where there is none.
inline bool showsKey(const wire::Cell& a_oCell, const std::optional<std::string>& a_oText)
{
    return a_oText ? showsText(a_oCell, *a_oText) : isNull(a_oCell);
}

/// Same type and same content.
inline bool sameCell(const wire::Cell& a_oLeft, const wire::Cell& a_oRight)
{
    return a_oLeft.m_iType == a_oRight.m_iType && a_oLeft.m_iNumber == a_oRight.m_iNumber &&
           a_oLeft.m_sText == a_oRight.m_sText;
}

/// The name of a type in a schema.
inline const char* typeName(unsigned a_iType)
{
    switch (a_iType) {
    case EDataType::Integer:
        return "integer";
    case EDataType::Unsigned:
        return "unsigned";
    case EDataType::Text:
        return "text";
    default:
        return "null";
    }
}

} // namespace systema::cli
