#include "plugins/deviceinforow.h"

#include "zel/assert.h"

#include <utility>

namespace zel {

using error::Assert;
using systema::EDataType;
using systema::EResultCode;
using systema::Value;
using systema::ValueList;

DeviceInfoRow::DeviceInfoRow(std::string a_sTable) : m_sTable(std::move(a_sTable)) {}

void DeviceInfoRow::load()
{
    Assert(false == loaded(), "false == loaded()");
    ValueList lRow;
    addInteger(lRow, "Id", 1);
    read(lRow);
    m_lRow = std::move(lRow);
    Assert(true == loaded(), "true == loaded()");
}

EResultCode DeviceInfoRow::getSchema(systema::ColumnList& a_lColumns) const
{
    for (const auto& [sName, oValue] : m_lRow) {
        a_lColumns.add(sName, oValue.getType());
    }
    return EResultCode::Success;
}

EResultCode DeviceInfoRow::getSize(unsigned int& a_iSize) const
{
    a_iSize = 1;
    return EResultCode::Success;
}

EResultCode DeviceInfoRow::selectRow(ValueList& a_lRow, unsigned int a_iIndex,
                                     const systema::NameList& a_lColumns) const
{
    if (a_iIndex != 0) {
        return EResultCode::NoRow;
    }
    if (a_lColumns.empty()) {
        for (const auto& [sName, oValue] : m_lRow) {
            a_lRow.add(sName, oValue);
        }
    }
    for (const auto& sName : a_lColumns) {
        const Value* pValue = findValue(sName);
        if (pValue == nullptr) {
            return EResultCode::NoKey;
        }
        a_lRow.add(sName, *pValue);
    }
    return EResultCode::Success;
}

void DeviceInfoRow::addText(ValueList& a_lRow, std::string a_sName, std::string a_sText)
{
    a_lRow.add(std::move(a_sName), Value(EDataType::Text, std::move(a_sText)));
}

void DeviceInfoRow::addInteger(ValueList& a_lRow, std::string a_sName, int a_iNumber)
{
    a_lRow.add(std::move(a_sName), Value(EDataType::Integer, a_iNumber));
}

} // namespace zel
