#include "plugins/tzplugin.h"

#include "configmanager/columntable.h"
#include "systema/refusal.h"
#include "zel/linefile.h"
#include "zel/log.h"
#include "zel/systemclock.h"
#include "zel/systempath.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <span>
#include <string_view>
#include <system_error>

namespace zel {

using configmanager::serverlib::appendSchema;
using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using configmanager::serverlib::findColumn;
using configmanager::serverlib::integer;
using configmanager::serverlib::selectColumns;
using systema::EDataType;
using systema::EResultCode;
using systema::ValueList;

namespace {

using Rule = TzPlugin::Rule;

struct RuleColumn : Column<Rule>
{
    std::string Rule::*m_pText; // null for the Id
};

template<auto Text>
constexpr RuleColumn text(const char* a_pName)
{
    return {column<Text>(a_pName), Text};
}

constexpr RuleColumn c_aColumns[] = {
    {{"Id", EDataType::Integer, [](const Rule&) { return integer(1); }}, nullptr},
    text<&Rule::m_sName>("Name"),
    text<&Rule::m_sStart>("Start"),
    text<&Rule::m_sEnd>("End"),
};

/// The texts, in the order of the line.
constexpr std::span<const RuleColumn> c_lTexts = std::span(c_aColumns).subspan(1);

constexpr const char* c_pFile = "/etc/TZ";

// Without the newline.
constexpr std::size_t c_iLongestRead = 127;
constexpr std::size_t c_iLongestWritten = 126;

Rule parse(std::string_view a_sLine)
{
    Rule oRule;
    for (const auto& oColumn : c_lTexts) {
        const bool bLast = oColumn.m_pText == &Rule::m_sEnd;
        const auto sText = a_sLine.substr(0, bLast ? std::string_view::npos : a_sLine.find(','));
        oRule.*oColumn.m_pText = sText;
        a_sLine.remove_prefix(std::min(sText.size() + 1, a_sLine.size()));
    }
    return oRule;
}

/// Replaces the texts that the values name. 0; 6, 9, with those before replaced.
EResultCode assign(Rule& a_oRule, const ValueList& a_lValues)
{
    for (const auto& [sColumn, oValue] : a_lValues) {
        const auto* pColumn = findColumn(c_lTexts, sColumn);
        if (pColumn == nullptr) {
            return EResultCode::NoKey;
        }
        if (oValue.getType() != EDataType::Text) {
            return systema::noteRefusal(EResultCode::Constraint, sColumn + " has to be a text");
        }
        // A comma would move what follows it to the next column; the last one keeps its commas.
        if (pColumn->m_pText != &Rule::m_sEnd && oValue.getText().find(',') != std::string::npos) {
            return systema::noteRefusal(EResultCode::Constraint, sColumn + " cannot hold a comma");
        }
        a_oRule.*pColumn->m_pText = oValue.getText();
    }
    return EResultCode::Success;
}

bool isLine(const std::string& a_sText)
{
    const auto isControl = [](unsigned char a_iByte) { return std::iscntrl(a_iByte) != 0; };
    return a_sText.size() <= c_iLongestWritten && std::ranges::none_of(a_sText, isControl);
}

} // namespace

TzPlugin::TzPlugin() : OneRowPlugin("Tz"), m_iModule(ZEL_Sysloglevel_registerModul("TzPlugin")) {}

EResultCode TzPlugin::getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                const std::string& a_sTable)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    appendSchema(a_lColumns, c_aColumns);
    return EResultCode::Success;
}

EResultCode TzPlugin::selectRow(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                unsigned int, const systema::NameList& a_lColumns)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    return read() ? selectColumns(a_lRow, m_oRule, c_aColumns, a_lColumns)
                  : EResultCode(EResultCode::Failure);
}

EResultCode TzPlugin::selectKey(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                const systema::NameList& a_lColumns)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    if (!read()) {
        return EResultCode::Failure;
    }
    return hasKey(a_sKeyColumn, a_sKeyValue) ? selectColumns(a_lRow, m_oRule, c_aColumns, a_lColumns)
                                             : EResultCode(EResultCode::NoKey);
}

EResultCode TzPlugin::insertRow(const void* a_pHandle, const std::string& a_sTable,
                                const ValueList& a_lValues)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    Rule oRule;
    if (const EResultCode eCode = assign(oRule, a_lValues)) {
        return eCode;
    }
    if (!std::ranges::all_of(c_lTexts, [&](auto& a_oText) { return a_lValues.hasValue(a_oText.m_pName); })) {
        return systema::noteRefusal(EResultCode::Constraint, "a new rule has to name every column");
    }
    m_oRule = oRule;
    return write();
}

EResultCode TzPlugin::insertKey(int& a_iId, const void* a_pHandle, const std::string& a_sTable,
                                const ValueList& a_lValues)
{
    assertCall(a_pHandle);
    a_iId = 1;
    return insertRow(a_pHandle, a_sTable, a_lValues);
}

EResultCode TzPlugin::updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int,
                                const ValueList& a_lValues)
{
    if (const EResultCode eCode = check(a_pHandle, a_sTable)) {
        return eCode;
    }
    if (!read()) {
        return EResultCode::Failure;
    }
    if (const EResultCode eCode = assign(m_oRule, a_lValues)) {
        return eCode;
    }
    return write();
}

EResultCode TzPlugin::updateKey(const void* a_pHandle, const std::string& a_sTable,
                                const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                const ValueList& a_lValues)
{
    assertCall(a_pHandle);
    return hasKey(a_sKeyColumn, a_sKeyValue) ? updateRow(a_pHandle, a_sTable, 0, a_lValues)
                                             : EResultCode(EResultCode::NoKey);
}

EResultCode TzPlugin::deleteRow(const void* a_pHandle, const std::string& a_sTable, unsigned int)
{
    const EResultCode eCode = check(a_pHandle, a_sTable);
    m_oRule = {}; // whatever the table, as its users know it
    if (eCode != EResultCode::Success) {
        return eCode;
    }
    return writeLine("");
}

EResultCode TzPlugin::deleteKey(const void* a_pHandle, const std::string& a_sTable,
                                const std::string& a_sKeyColumn, const std::string& a_sKeyValue)
{
    assertCall(a_pHandle);
    return hasKey(a_sKeyColumn, a_sKeyValue) ? deleteRow(a_pHandle, a_sTable, 0)
                                             : EResultCode(EResultCode::NoKey);
}

EResultCode TzPlugin::deleteAll(const void* a_pHandle, const std::string& a_sTable)
{
    return deleteRow(a_pHandle, a_sTable, 0);
}

/// True when the key is that of the row in memory; "01" is none.
bool TzPlugin::hasKey(const std::string& a_sKeyColumn, const std::string& a_sKeyValue) const
{
    const auto* pColumn = findColumn(c_aColumns, a_sKeyColumn);
    return pColumn != nullptr && pColumn->m_pGet(m_oRule).toText() == a_sKeyValue;
}

/// Reads the rule from the file. False when there is no whole line of it.
bool TzPlugin::read()
{
    try {
        const std::string sLine = LineFile(systemPath(c_pFile)).read(c_iLongestRead + 1);
        m_oRule = parse(std::string_view(sLine).substr(0, sLine.find('\0')));
        return true;
    } catch (const std::system_error& oFailure) {
        ZEL_Sysloglevel_error(m_iModule, {"tzplugin", 424}, "Could not read timezone: %s", oFailure.what());
        systema::noteRefusal(EResultCode::Failure, oFailure.what());
        return false;
    }
}

/// Writes the rule to the file and makes it the zone. 1 when it has one of start and end alone, makes no
/// line, or cannot be written, 6 when it is no POSIX zone; before the file is touched but for the failure to
/// write.
EResultCode TzPlugin::write() const
{
    if (m_oRule.m_sStart.empty() != m_oRule.m_sEnd.empty()) {
        return refuseRule(EResultCode::Failure, "Start and End need each other");
    }
    const bool bDates = !m_oRule.m_sStart.empty();
    const std::string sLine =
        m_oRule.m_sName + (bDates ? "," + m_oRule.m_sStart + "," + m_oRule.m_sEnd : std::string());
    if (!isLine(sLine)) {
        return refuseRule(EResultCode::Failure, "the rule is too long, or has control characters");
    }
    const auto oNames = parseZoneNames(m_oRule.m_sName);
    if (!oNames) {
        return refuseRule(EResultCode::Constraint,
                          "Name is no POSIX time zone such as CET-1CEST or <+03>-3: \"" + m_oRule.m_sName +
                              "\"");
    }
    if (bDates && !oNames->m_bDaylight) {
        return refuseRule(EResultCode::Constraint, "Start and End have to be empty: " + m_oRule.m_sName +
                                                       " has no daylight saving time");
    }
    for (const auto& oColumn : c_lTexts.subspan(1)) {
        const std::string& sDate = m_oRule.*oColumn.m_pText;
        if (bDates && !isZoneDate(sDate)) {
            return refuseRule(EResultCode::Constraint, std::string(oColumn.m_pName) +
                                                           " is no date such as M3.5.0/2, J60 or 59: \"" +
                                                           sDate + "\"");
        }
    }
    const EResultCode eWritten = writeLine(sLine);
    if (eWritten == EResultCode::Success) {
        setZone(*oNames);
    }
    return eWritten;
}

/// Gives the code, with the reason for the client and the log.
EResultCode TzPlugin::refuseRule(EResultCode a_eCode, const std::string& a_sReason) const
{
    ZEL_Sysloglevel_error(m_iModule, here(), "Could not write timezone: %s", a_sReason.c_str());
    return systema::noteRefusal(a_eCode, a_sReason);
}

EResultCode TzPlugin::writeLine(const std::string& a_sLine) const
{
    try {
        LineFile(systemPath(c_pFile)).write(a_sLine);
        return EResultCode::Success;
    } catch (const std::system_error& oFailure) {
        ZEL_Sysloglevel_error(m_iModule, {"tzplugin", 478}, "Could not write timezone: %s", oFailure.what());
        return systema::noteRefusal(EResultCode::Failure, oFailure.what());
    }
}

/// Tells the kernel the zone, and the time that it is.
void TzPlugin::setZone(const ZoneNames& a_oNames) const
{
    const auto logFailure = [this](unsigned a_iLine, const char* a_pCall) {
        ZEL_Sysloglevel_error(m_iModule, {"tzplugin", a_iLine}, "%s() failed: %s", a_pCall,
                              std::strerror(errno));
    };
    timeval oNow;
    if (::gettimeofday(&oNow, nullptr) != 0) {
        logFailure(609, "gettimeofday");
    } else if (!setKernelZone(oNow, kernelZoneOf(a_oNames))) {
        logFailure(622, "settimeofday");
    }
}

} // namespace zel
