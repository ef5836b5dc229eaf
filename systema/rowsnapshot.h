// A bulk read of rows that were read at once, and are handed over at the pace of the reader: for sources that
// are different at each read.
//
// Owned by whoever fetches from it; it needs nothing of its source. Main thread only. Nothing throws but
// std::bad_alloc.
#pragma once

#include "systema/rowsource.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace systema {

class RowSnapshot : public IRowCursor, private IRowSink
{
public:
    /// Reads all rows of another cursor. 0; else the code with which that ended, and no cursor.
    static EResultCode take(std::unique_ptr<IRowCursor>& a_cursor, IRowCursor& a_oRows);

    const NameList& getColumns() const override { return m_lColumns; }
    EResultCode fetch(IRowSink& a_oSink) override;
    std::size_t getKeptSize() const override { return m_sCells.size(); }

private:
    explicit RowSnapshot(const NameList& a_lColumns) : m_lColumns(a_lColumns) {}

    void addNull() override { addCell(EDataType::Null, 0); }
    void addInteger(int a_iValue) override
    {
        addCell(EDataType::Integer, static_cast<std::uint32_t>(a_iValue));
    }
    void addUnsigned(unsigned int a_iValue) override { addCell(EDataType::Unsigned, a_iValue); }
    void addText(std::string_view a_sText) override
    {
        addCell(EDataType::Text, static_cast<std::uint32_t>(a_sText.size()));
        m_sCells += a_sText;
    }
    bool endRow() override
    {
        ++m_iRowsLeft;
        return true;
    }
    void addCell(unsigned a_iType, std::uint32_t a_iNumber);
    void moveCell(IRowSink& a_oSink);

    const NameList m_lColumns;
    std::string m_sCells; // the type of each, and its number, or the length of its text and the text
    std::size_t m_iRead = 0;
    std::size_t m_iRowsLeft = 0;
};

} // namespace systema
