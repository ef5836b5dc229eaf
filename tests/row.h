// Rows for tests, written as they read: row({{"Id", 1}, {"Name", "lan1"}}).
#pragma once

#include "systema/lists.h"

#include <initializer_list>
#include <utility>

namespace tests {

struct Cell
{
    Cell(const char* a_pName, int a_iNumber)
        : m_pName(a_pName),
          m_oValue(systema::EDataType::Integer, a_iNumber)
    {
    }
    Cell(const char* a_pName, const char* a_pText)
        : m_pName(a_pName),
          m_oValue(systema::EDataType::Text, a_pText)
    {
    }
    Cell(const char* a_pName, systema::Value a_oValue) : m_pName(a_pName), m_oValue(std::move(a_oValue)) {}

    const char* m_pName;
    systema::Value m_oValue;
};

inline systema::ValueList row(std::initializer_list<Cell> a_lCells)
{
    systema::ValueList lRow;
    for (const auto& oCell : a_lCells) {
        lRow.add(oCell.m_pName, oCell.m_oValue);
    }
    return lRow;
}

} // namespace tests
