#include "plugins/rowreader.h"

#include <string>
#include <utility>

namespace zel {

namespace {

using systema::EDataType;
using systema::EResultCode;
using systema::NameList;
using systema::Value;
using systema::ValueList;

/// Room for one row.
class OneRow final : public systema::IRowSink
{
public:
    OneRow(ValueList& a_oRow, const NameList& a_lColumns) : m_oRow(a_oRow), m_lColumns(a_lColumns) {}

    void addNull() override { add(Value(EDataType::Null)); }
    void addInteger(int a_iValue) override { add(Value(EDataType::Integer, a_iValue)); }
    void addUnsigned(unsigned int a_iValue) override
    {
        add(Value(EDataType::Unsigned, static_cast<int>(a_iValue)));
    }
    void addText(std::string_view a_sText) override { add(Value(EDataType::Text, std::string(a_sText))); }
    bool endRow() override
    {
        m_bFull = true;
        return false;
    }

    bool isFull() const { return m_bFull; }

private:
    void add(Value a_oValue) { m_oRow.add(m_lColumns[m_oRow.size()], std::move(a_oValue)); }

    ValueList& m_oRow;
    const NameList& m_lColumns;
    bool m_bFull = false;
};

} // namespace

EResultCode readRow(ValueList& a_oRow, systema::IRowCursor& a_oRows)
{
    a_oRow.clear();
    OneRow oSink(a_oRow, a_oRows.getColumns());
    EResultCode eResult;
    while (eResult == EResultCode::Success && !oSink.isFull()) { // a cursor may stop before its next row
        eResult = a_oRows.fetch(oSink);
    }
    return oSink.isFull() ? EResultCode(EResultCode::Success) : eResult;
}

} // namespace zel
