#include "plugins/cellrows.h"

#include <algorithm>
#include <charconv>

namespace zel {

using systema::EDataType;

void CellRows::setColumns(const systema::NameList& a_lColumns)
{
    m_lPlaces.clear();
    for (const auto& sColumn : a_lColumns) {
        const auto iPlace =
            static_cast<std::size_t>(std::ranges::find(m_lWanted, sColumn) - m_lWanted.begin());
        const bool bTaken = std::ranges::find(m_lPlaces, iPlace) != m_lPlaces.end(); // the first one counts
        m_lPlaces.push_back(iPlace == m_lWanted.size() || bTaken ? c_iNowhere : iPlace);
    }
}

void CellRows::add(const systema::ValueList& a_lRow)
{
    systema::NameList lNames;
    for (const auto& [sName, oValue] : a_lRow) {
        lNames.add(sName);
    }
    setColumns(lNames);
    for (const auto& [sName, oValue] : a_lRow) {
        addValue(oValue);
    }
    endRow();
}

void CellRows::add(Row a_oRow)
{
    for (Cell oCell : a_oRow) {
        oCell.m_sText = keep(oCell.m_sText);
        m_lCells.push_back(oCell);
    }
    ++m_iRows;
}

void CellRows::clear()
{
    m_lCells.clear();
    m_oTexts.release();
    m_iNext = 0;
    m_iRows = 0;
    m_iTextBytes = 0;
}

std::string_view CellRows::keep(std::string_view a_sText)
{
    if (a_sText.empty()) {
        return {};
    }
    m_iTextBytes += a_sText.size();
    auto* pCopy = static_cast<char*>(m_oTexts.allocate(a_sText.size(), 1));
    std::ranges::copy(a_sText, pCopy);
    return {pCopy, a_sText.size()};
}

std::string_view CellRows::textOf(const Cell& a_oCell, Buffer& a_aBuffer)
{
    char* pEnd = a_aBuffer.data();
    if (a_oCell.m_iType == EDataType::Integer) {
        pEnd = std::to_chars(pEnd, pEnd + a_aBuffer.size(), static_cast<int>(a_oCell.m_iNumber)).ptr;
    } else if (a_oCell.m_iType == EDataType::Unsigned) {
        pEnd = std::to_chars(pEnd, pEnd + a_aBuffer.size(), a_oCell.m_iNumber).ptr;
    } else {
        return a_oCell.m_sText;
    }
    return {a_aBuffer.data(), pEnd};
}

void CellRows::send(systema::IRowSink& a_oSink, const Cell& a_oCell)
{
    if (a_oCell.m_iType == EDataType::Integer) {
        a_oSink.addInteger(static_cast<int>(a_oCell.m_iNumber));
    } else if (a_oCell.m_iType == EDataType::Unsigned) {
        a_oSink.addUnsigned(a_oCell.m_iNumber);
    } else if (a_oCell.m_iType == EDataType::Text) {
        a_oSink.addText(a_oCell.m_sText);
    } else {
        a_oSink.addNull();
    }
}

void CellRows::addText(std::string_view a_sText)
{
    if (m_iNext < m_lPlaces.size() && m_lPlaces[m_iNext] != c_iNowhere) {
        put({EDataType::Text, 0, keep(a_sText)});
    } else {
        ++m_iNext;
    }
}

void CellRows::put(const Cell& a_oCell)
{
    const std::size_t iFirst = m_iRows * m_lWanted.size();
    if (m_lCells.size() == iFirst) {
        m_lCells.resize(iFirst + m_lWanted.size(), {c_iMissing, 0, {}});
    }
    if (m_iNext < m_lPlaces.size() && m_lPlaces[m_iNext] != c_iNowhere) {
        m_lCells[iFirst + m_lPlaces[m_iNext]] = a_oCell;
    }
    ++m_iNext;
}

bool CellRows::endRow()
{
    m_lCells.resize(++m_iRows * m_lWanted.size(), {c_iMissing, 0, {}}); // a row of texts that are not wanted
    m_iNext = 0;
    return m_iRows % m_iPortion != 0;
}

} // namespace zel
