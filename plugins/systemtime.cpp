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

EResultCode SystemTime::getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                  const std::string& a_sTable)
{
    const EResultCode eCode = check(a_pHandle, a_sTable);
    if (eCode == EResultCode::Success) {
        appendSchema(a_lColumns, c_aColumns);
    }
    return eCode;
}

EResultCode SystemTime::selectRow(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                  unsigned int, const systema::NameList&)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    const std::time_t iNow = std::time(nullptr);
    m_iTime = static_cast<std::int32_t>(iNow);
    if (iNow == -1) {
        ZEL_Sysloglevel_error(m_iModule, {"systemtime", 303}, "Failed to get system time.");
        return EResultCode::Failure;
    }
    return selectColumns(a_lRow, m_iTime, c_aColumns, {});
}

EResultCode SystemTime::selectKey(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                  const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                  const systema::NameList& a_lColumns)
{
    ValueList lRow;
    if (const EResultCode eCode = selectRow(lRow, a_pHandle, a_sTable, 0, a_lColumns)) {
        return eCode;
    }
    const systema::Value* pKey = lRow.find(a_sKeyColumn);
    if (pKey == nullptr) {
        return EResultCode::NoKey;
    }
    if (!configmanager::serverlib::matchesKey(*pKey, a_sKeyValue)) {
        return EResultCode::NoRow;
    }
    a_lRow = std::move(lRow);
    return EResultCode::Success;
}

EResultCode SystemTime::insertRow(const void* a_pHandle, const std::string& a_sTable, const ValueList&)
{
    return check(a_pHandle, a_sTable);
}

EResultCode SystemTime::insertKey(int&, const void* a_pHandle, const std::string& a_sTable, const ValueList&)
{
    return check(a_pHandle, a_sTable);
}

EResultCode SystemTime::deleteRow(const void* a_pHandle, const std::string& a_sTable, unsigned int)
{
    return check(a_pHandle, a_sTable);
}

EResultCode SystemTime::deleteKey(const void* a_pHandle, const std::string& a_sTable, const std::string&,
                                  const std::string&)
{
    return check(a_pHandle, a_sTable);
}

EResultCode SystemTime::deleteAll(const void* a_pHandle, const std::string& a_sTable)
{
    return check(a_pHandle, a_sTable);
}

EResultCode SystemTime::updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int,
                                  const ValueList& a_lValues)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    const systema::Value* pTime = a_lValues.find("Time");
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

EResultCode SystemTime::updateKey(const void* a_pHandle, const std::string& a_sTable,
                                  const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                  const ValueList& a_lValues)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    const bool bIsRow = a_sKeyColumn == "Time" || (a_sKeyColumn == "Id" && a_sKeyValue == "1");
    return bIsRow ? updateRow(a_pHandle, a_sTable, 0, a_lValues) : EResultCode(EResultCode::NoKey);
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
