// A copy of rows for a bulk read: the source is read once, the reader fetches at its own pace. It serves
// sources whose rows differ at each read.
//
// Owned by the reader; it does not refer to its source. Main thread only. Throws nothing but std::bad_alloc.
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
    /// Reads all rows of a_oRows. 0 with the cursor; else the code with which a_oRows failed, and no cursor.
    static EResultCode take(std::unique_ptr<IRowCursor>& a_pCursor, IRowCursor& a_oRows);

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
    std::string m_sCells; // of each its type and its number, or its type, the length of its text and the text
    std::size_t m_iRead = 0;
    std::size_t m_iRowsLeft = 0;
};

} // namespace systema
