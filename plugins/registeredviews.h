// The table "RegisteredViews": the names of the views, in their order.
//
// Owned by TableViewPlugin, which passes on what asks for this table. Main thread only.
#pragma once

#include "configmanager/columntable.h"
#include "configmanager/genericconfigplugin.h"

#include <algorithm>
#include <string>
#include <utility>

namespace zel {

class RegisteredViews : public configmanager::serverlib::GenericConfigPlugin
{
public:
    static constexpr const char* c_pTable = "RegisteredViews";
    static constexpr unsigned long c_iVersion = 0; // of the table: it does not change

    void add(std::string a_sView) { m_lNames.add(std::move(a_sView)); }

    void getTables(systema::NameList& a_lTables, const void*) override { a_lTables.add(c_pTable); }
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const void*, const std::string&) override
    {
        configmanager::serverlib::appendSchema(a_lColumns, c_aColumns);
        return systema::EResultCode::Success;
    }
    systema::EResultCode getSize(unsigned int& a_iSize, const void*, const std::string&) override
    {
        a_iSize = static_cast<unsigned int>(m_lNames.size());
        return systema::EResultCode::Success;
    }
    /// 0, 9, 10.
    systema::EResultCode selectRow(systema::ValueList& a_lRow, const void*, const std::string&,
                                   unsigned int a_iIndex, const systema::NameList& a_lColumns) override
    {
        using namespace configmanager::serverlib;
        systema::ValueList lNone; // an unknown column is one without a row, too
        if (const auto eCode = selectColumns(lNone, std::string(), c_aColumns, a_lColumns)) {
            return eCode;
        }
        return a_iIndex < m_lNames.size() ? selectColumns(a_lRow, m_lNames[a_iIndex], c_aColumns, a_lColumns)
                                          : systema::EResultCode(systema::EResultCode::NoRow);
    }
    /// 0, 9, 10.
    systema::EResultCode selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, const std::string& a_sKeyColumn,
                                   const std::string& a_sKeyValue,
                                   const systema::NameList& a_lColumns) override
    {
        if (configmanager::serverlib::findColumn(c_aColumns, a_sKeyColumn) == nullptr) {
            return systema::EResultCode::NoKey;
        }
        const auto iIndex = std::ranges::find(m_lNames, a_sKeyValue) - m_lNames.begin();
        return selectRow(a_lRow, a_pHandle, a_sTable, static_cast<unsigned int>(iIndex), a_lColumns);
    }

private:
    static constexpr configmanager::serverlib::Column<std::string> c_aColumns[] = {
        {"Name", systema::EDataType::Text,
         [](const std::string& a_sName) { return systema::Value(systema::EDataType::Text, a_sName); }}};

    systema::NameList m_lNames;
};

} // namespace zel
