// Rows with names, from where rows come as mere cells.
#pragma once

#include "systema/rowsource.h"

#include <utility>

namespace systema {

/// Appends the cells of one row to a list, with the names of a NameList or ColumnList that must outlive it.
template<class Columns>
class RowFiller final : public IRowSink
{
public:
    RowFiller(ValueList& a_lRow, const Columns& a_lColumns) : m_lRow(a_lRow), m_itColumn(a_lColumns.begin())
    {
        m_lRow.reserve(m_lRow.size() + a_lColumns.size());
    }

    void addNull() override { add(Value(EDataType::Null)); }
    void addInteger(int a_iValue) override { add(Value(EDataType::Integer, a_iValue)); }
    void addUnsigned(unsigned int a_iValue) override
    {
        add(Value(EDataType::Unsigned, static_cast<int>(a_iValue)));
    }
    void addText(std::string_view a_sText) override { add(Value(EDataType::Text, std::string(a_sText))); }
    bool endRow() override
    {
        m_bComplete = true;
        return false;
    }

    bool isComplete() const { return m_bComplete; }

private:
    static const std::string& nameOf(const std::string& a_sName) { return a_sName; }
    static const std::string& nameOf(const ColumnList::Entry& a_oColumn) { return a_oColumn.first; }
    void add(Value&& a_oValue) { m_lRow.add(nameOf(*m_itColumn++), std::move(a_oValue)); }

    ValueList& m_lRow;
    decltype(std::declval<const Columns&>().begin()) m_itColumn;
    bool m_bComplete = false;
};

/// Reads the next row, which takes the place of what the list holds. 0; 10 after the last row; else the code
/// of the cursor.
inline EResultCode readRow(ValueList& a_lRow, IRowCursor& a_oRows)
{
    a_lRow.clear();
    RowFiller oSink(a_lRow, a_oRows.getColumns());
    EResultCode eResult;
    while (eResult == EResultCode::Success && !oSink.isComplete()) { // its time may be over before the row
        eResult = a_oRows.fetch(oSink);
    }
    return oSink.isComplete() ? EResultCode(EResultCode::Success) : eResult;
}

} // namespace systema
