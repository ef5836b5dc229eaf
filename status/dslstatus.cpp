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

bool DslStatus::hasTable(const std::string& a_sTable) const
{
    return a_sTable == getTableName() || a_sTable == getTableNameRealtime();
}

void DslStatus::getTableNames(systema::NameList& a_lTables) const
{
    a_lTables.add(getTableName());
    a_lTables.add(getTableNameRealtime());
}

EResultCode DslStatus::getSchema(systema::ColumnList& a_lColumns, const std::string&)
{
    configmanager::serverlib::appendSchema(a_lColumns, c_aColumns);
    return EResultCode::Success;
}

EResultCode DslStatus::getRowCount(const std::string&, unsigned int& a_iCount)
{
    a_iCount = 1;
    return EResultCode::Success;
}

EResultCode DslStatus::getRow(const std::string& a_sTable, systema::ValueList& a_lRow,
                              unsigned int a_iPosition, const systema::NameList& a_lColumns)
{
    if (a_iPosition != 0) {
        return EResultCode::NoRow;
    }
    const Row& oRow = a_sTable == getTableNameRealtime() ? m_oCurrent : m_oReported;
    return configmanager::serverlib::selectColumns(a_lRow, oRow, c_aColumns, a_lColumns);
}

EResultCode DslStatus::getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                   const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                   const systema::NameList& a_lColumns)
{
    if (a_sKeyColumn != "Id") {
        return EResultCode::NoKey;
    }
    return a_sKeyValue == "1" ? getRow(a_sTable, a_lRow, 0, a_lColumns) : EResultCode(EResultCode::NoRow);
}

void DslStatus::update(systema::NameList& a_lChangedTables)
{
    const Row oCurrent = readLine();
    Row oReported = oCurrent;
    if (oCurrent.isShowtime() == m_oReported.isShowtime()) {
        oReported.m_iLineState = m_oReported.m_iLineState;
    }
    if (std::exchange(m_oReported, oReported) != oReported) {
        a_lChangedTables.add(getTableName());
    }
    if (std::exchange(m_oCurrent, oCurrent) != oCurrent) {
        a_lChangedTables.add(getTableNameRealtime());
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
