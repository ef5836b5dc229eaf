// Rows kept as cells in the order of the wanted columns, whatever the order in which they come.
//
// A plain object of whoever reads; nothing in it refers to the source. A wanted column that the source lacks
// has cells of a type of their own.
#pragma once

#include "systema/rowsource.h"
#include "systema/wire.h"

#include <array>
#include <cstddef>
#include <memory_resource>
#include <span>
#include <string_view>
#include <vector>

namespace zel {

class CellRows : public systema::IRowSink
{
public:
    using Cell = systema::wire::Cell;
    using Row = std::span<const Cell>; // lives until the next row is added

    static constexpr std::uint8_t c_iMissing = 0xff; // type of a cell that the source lacks
    using Buffer = std::array<char, 12>;             // holds any number

    /// A fetch ends after each a_iPortion rows.
    explicit CellRows(const systema::NameList& a_lWanted, std::size_t a_iPortion = 1)
        : m_lWanted(a_lWanted),
          m_iPortion(a_iPortion)
    {
    }

    /// The columns of the rows that come from now on.
    void setColumns(const systema::NameList& a_lColumns);
    /// Adds a row with the names that it has.
    void add(const systema::ValueList& a_lRow);
    /// Adds a row of the same wanted columns.
    void add(Row a_oRow);

    std::size_t size() const { return m_iRows; }
    Row operator[](std::size_t a_iRow) const
    {
        return Row(m_lCells).subspan(a_iRow * m_lWanted.size(), m_lWanted.size());
    }
    /// Removes the rows and their texts.
    void clear();
    /// Memory that the rows take, in bytes.
    std::size_t getBytes() const { return m_iTextBytes + m_lCells.size() * sizeof(Cell); }
    /// Copies a text; the copy lives as long as the texts of the rows.
    std::string_view keep(std::string_view a_sText);

    /// The cell as a person would write it, NULL as an empty text: in the buffer or in the cell.
    static std::string_view textOf(const Cell& a_oCell, Buffer& a_aBuffer);
    static void send(systema::IRowSink& a_oSink, const Cell& a_oCell);

    void addNull() override { put({}); }
    void addInteger(int a_iValue) override
    {
        put({systema::EDataType::Integer, static_cast<std::uint32_t>(a_iValue), {}});
    }
    void addUnsigned(unsigned int a_iValue) override { put({systema::EDataType::Unsigned, a_iValue, {}}); }
    void addText(std::string_view a_sText) override;
    bool endRow() override;

private:
    static constexpr std::size_t c_iNowhere = static_cast<std::size_t>(-1);

    void put(const Cell& a_oCell);

    const systema::NameList m_lWanted;
    const std::size_t m_iPortion;
    std::vector<std::size_t> m_lPlaces; // in the row, of each cell that comes
    std::size_t m_iNext = 0;            // cell that comes
    std::size_t m_iRows = 0;
    std::size_t m_iTextBytes = 0;
    std::array<std::byte, 256> m_aFirstTexts; // enough for most single rows
    std::pmr::monotonic_buffer_resource m_oTexts{m_aFirstTexts.data(), m_aFirstTexts.size()};
    std::vector<Cell> m_lCells;
};

} // namespace zel
