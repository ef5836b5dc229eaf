#include "status/dslstatus.h"

#include "configmanager/columntable.h"

#include <utility>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using configmanager::serverlib::integer;
using systema::EDataType;
using systema::EResultCode;
using systema::Value;

namespace {

using Row = DslStatus::Row;

constexpr Column<Row> c_aColumns[] = {
    {"Id", EDataType::Integer, [](const Row&) { return integer(1); }},
    column<&Row::m_sMode>("XdslMode"),
    column<&Row::m_iLineState>("Status"),
    {"StatusString", EDataType::Text,
     [](const Row& a_oRow) {
         return Value(EDataType::Text, ZEL_DSLAPI_getLineStateString(a_oRow.m_iLineState));
     }},
    column<&Row::m_iRateUpstream>("ActualDataRateUS"),
    column<&Row::m_iRateDownstream>("ActualDataRateDS"),
};

} // namespace

DslStatus::DslStatus() : m_pLine(ZEL_DSLAPI_construct()) {}

void DslStatus::init()
{
    systema::NameList lUnannounced;
    update(lUnannounced);
}

bool DslStatus::hasTable(const std::string& a_table) const
{
    return a_table == getTableName() || a_table == getTableNameRealtime();
}

void DslStatus::getTableNames(systema::NameList& a_tables) const
{
    a_tables.add(getTableName());
    a_tables.add(getTableNameRealtime());
}

EResultCode DslStatus::getSchema(systema::ColumnList& a_columns, const std::string&)
{
    configmanager::serverlib::appendSchema(a_columns, c_aColumns);
    return EResultCode::Success;
}

EResultCode DslStatus::getRowCount(const std::string&, unsigned int& a_count)
{
    a_count = 1;
    return EResultCode::Success;
}

EResultCode DslStatus::getRow(const std::string& a_table, systema::ValueList& a_row, unsigned int a_position,
                              const systema::NameList& a_columns)
{
    if (a_position != 0) {
        return EResultCode::NoRow;
    }
    const Row& oRow = a_table == getTableNameRealtime() ? m_oCurrent : m_oReported;
    return configmanager::serverlib::selectColumns(a_row, oRow, c_aColumns, a_columns);
}

EResultCode DslStatus::getRowByKey(const std::string& a_table, systema::ValueList& a_row,
                                   const std::string& a_keyColumn, const std::string& a_keyValue,
                                   const systema::NameList& a_columns)
{
    if (a_keyColumn != "Id") {
        return EResultCode::NoKey;
    }
    return a_keyValue == "1" ? getRow(a_table, a_row, 0, a_columns) : EResultCode(EResultCode::NoRow);
}

void DslStatus::update(systema::NameList& a_changedTables)
{
    const Row oCurrent = readLine();
    Row oReported = oCurrent;
    if (oCurrent.isShowtime() == m_oReported.isShowtime()) {
        oReported.m_iLineState = m_oReported.m_iLineState;
    }
    if (std::exchange(m_oReported, oReported) != oReported) {
        a_changedTables.add(getTableName());
    }
    if (std::exchange(m_oCurrent, oCurrent) != oCurrent) {
        a_changedTables.add(getTableNameRealtime());
    }
}

Row DslStatus::readLine()
{
    ZEL_DSLAPI_resetFetchState(*m_pLine);
    Row oRow{ZEL_DSLAPI_getLineState(*m_pLine)};
    if (oRow.isShowtime()) {
        oRow.m_iRateUpstream = ZEL_DSLAPI_getG997ActualDataRate(*m_pLine, EDslDirection::Upstream);
        oRow.m_iRateDownstream = ZEL_DSLAPI_getG997ActualDataRate(*m_pLine, EDslDirection::Downstream);
        oRow.m_sMode = ZEL_DSLAPI_getXDSLModeString(
            ZEL_DSLAPI_getXDSLMode(ZEL_DSLAPI_getG997xTUTransmissionSystem(*m_pLine)));
    }
    return oRow;
}

} // namespace zel
