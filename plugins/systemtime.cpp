#include "plugins/systemtime.h"

#include "configmanager/columntable.h"
#include "systema/refusal.h"
#include "zel/log.h"
#include "zel/systemclock.h"

#include <ctime>
#include <utility>

namespace zel {

using configmanager::serverlib::appendSchema;
using configmanager::serverlib::Column;
using configmanager::serverlib::integer;
using configmanager::serverlib::selectColumns;
using systema::EDataType;
using systema::EResultCode;
using systema::ValueList;

namespace {

constexpr Column<std::int32_t> c_aColumns[] = {
    {"Id", EDataType::Integer, [](const std::int32_t&) { return integer(1); }},
    {"Time", EDataType::Integer, [](const std::int32_t& a_iTime) { return integer(a_iTime); }},
};

} // namespace

SystemTime::SystemTime() : OneRowPlugin("SystemTime"), m_iModule(ZEL_Sysloglevel_registerModul("SysTime")) {}

EResultCode SystemTime::getSchema(systema::ColumnList& a_columns, const void* a_handle,
                                  const std::string& a_table)
{
    const EResultCode eCode = check(a_handle, a_table);
    if (eCode == EResultCode::Success) {
        appendSchema(a_columns, c_aColumns);
    }
    return eCode;
}

EResultCode SystemTime::selectRow(ValueList& a_row, const void* a_handle, const std::string& a_table,
                                  unsigned int, const systema::NameList&)
{
    if (const EResultCode eCode = check(a_handle, a_table)) {
        return eCode;
    }
    const std::time_t iNow = std::time(nullptr);
    m_iTime = static_cast<std::int32_t>(iNow);
    if (iNow == -1) {
        ZEL_Sysloglevel_error(m_iModule, {"systemtime", 303}, "Failed to get system time.");
        return EResultCode::Failure;
    }
    return selectColumns(a_row, m_iTime, c_aColumns, {});
}

EResultCode SystemTime::selectKey(ValueList& a_row, const void* a_handle, const std::string& a_table,
                                  const std::string& a_keyColumn, const std::string& a_keyValue,
                                  const systema::NameList& a_columns)
{
    ValueList lRow;
    if (const EResultCode eCode = selectRow(lRow, a_handle, a_table, 0, a_columns)) {
        return eCode;
    }
    const systema::Value* pKey = lRow.find(a_keyColumn);
    if (pKey == nullptr) {
        return EResultCode::NoKey;
    }
    if (!configmanager::serverlib::matchesKey(*pKey, a_keyValue)) {
        return EResultCode::NoRow;
    }
    a_row = std::move(lRow);
    return EResultCode::Success;
}

EResultCode SystemTime::insertRow(const void* a_handle, const std::string& a_table, const ValueList&)
{
    return check(a_handle, a_table);
}

EResultCode SystemTime::insertKey(int&, const void* a_handle, const std::string& a_table, const ValueList&)
{
    return check(a_handle, a_table);
}

EResultCode SystemTime::deleteRow(const void* a_handle, const std::string& a_table, unsigned int)
{
    return check(a_handle, a_table);
}

EResultCode SystemTime::deleteKey(const void* a_handle, const std::string& a_table, const std::string&,
                                  const std::string&)
{
    return check(a_handle, a_table);
}

EResultCode SystemTime::deleteAll(const void* a_handle, const std::string& a_table)
{
    return check(a_handle, a_table);
}

EResultCode SystemTime::updateRow(const void* a_handle, const std::string& a_table, unsigned int,
                                  const ValueList& a_values)
{
    if (const EResultCode eCode = check(a_handle, a_table)) {
        return eCode;
    }
    const systema::Value* pTime = a_values.find("Time");
    if (pTime == nullptr) {
        return EResultCode::Failure;
    }
    if (pTime->getType() != EDataType::Integer) {
        return systema::noteRefusal(EResultCode::Failure, "Time has to be a number");
    }
    // Such a time is never set, and after this request nobody could be told.
    if (pTime->getInteger() <= 0) {
        ZEL_Sysloglevel_error(m_iModule, {"systemtime", 314}, "Failed to set system time.");
        return systema::noteRefusal(EResultCode::Failure, "Time has to be greater than 0");
    }
    m_iTime = pTime->getInteger();
    m_bPending = true;
    return EResultCode::Success;
}

EResultCode SystemTime::updateKey(const void* a_handle, const std::string& a_table,
                                  const std::string& a_keyColumn, const std::string& a_keyValue,
                                  const ValueList& a_values)
{
    if (const EResultCode eCode = check(a_handle, a_table)) {
        return eCode;
    }
    const bool bIsRow = a_keyColumn == "Time" || (a_keyColumn == "Id" && a_keyValue == "1");
    return bIsRow ? updateRow(a_handle, a_table, 0, a_values) : EResultCode(EResultCode::NoKey);
}

void SystemTime::tick(systema::NameList&)
{
    if (m_bPending) {
        setClock();
        m_bPending = false;
    }
}

void SystemTime::setClock() const
{
    if (m_iTime <= 0) { // the clock could not be read between the write and now
        ZEL_Sysloglevel_error(m_iModule, {"systemtime", 314}, "Failed to set system time.");
    } else if (!setSystemClock(m_iTime)) {
        ZEL_Sysloglevel_error(m_iModule, {"systemtime", 323}, "Failed to set system time.");
    }
}

} // namespace zel
