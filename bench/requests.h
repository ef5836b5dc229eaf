// The requests that are measured.
#pragma once

#include "bench/testtable.h"
#include "client/request.h"

namespace bench {

namespace request = systema::client::request;

/// All columns of the row with the key.
inline request::SelectKey selection(const TestTable& a_oTable, const std::string& a_sKey)
{
    return {.m_sTable = a_oTable.m_pName, .m_sKeyColumn = c_pKeyColumn, .m_sKeyValue = a_sKey};
}

/// One column of the row with the key.
inline request::UpdateKey change(const TestTable& a_oTable, const std::string& a_sKey, int a_iWeight)
{
    systema::ValueList lValues;
    lValues.add(c_pChangedColumn, systema::Value(systema::EDataType::Integer, a_iWeight));
    return {.m_sTable = a_oTable.m_pName,
            .m_sKeyColumn = c_pKeyColumn,
            .m_sKeyValue = a_sKey,
            .m_lValues = std::move(lValues)};
}

} // namespace bench
