#include "cli/importplan.h"

#include "cli/cell.h"
#include "options/nearest.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>
#include <map>
#include <ranges>
#include <set>

namespace systema::cli {

namespace {

/// The bytes of a text that was exported as {"hex":"..."}; nothing when it is not that.
std::optional<std::string> hexText(json_object* a_pObject)
{
    json_object* pHex = nullptr;
    if (json_object_object_length(a_pObject) != 1 || !json_object_object_get_ex(a_pObject, "hex", &pHex) ||
        !json_object_is_type(pHex, json_type_string)) {
        return {};
    }
    const std::string_view sHex = textOf(pHex);
    std::string sBytes;
    for (std::size_t i = 0; i + 1 < sHex.size(); i += 2) {
        unsigned char iByte = 0;
        if (std::from_chars(&sHex[i], &sHex[i] + 2, iByte, 16).ptr != &sHex[i] + 2) {
            return {};
        }
        sBytes += static_cast<char>(iByte);
    }
    return sHex.size() % 2 == 0 ? std::optional(sBytes) : std::nullopt;
}

std::optional<Value> numberValue(json_object* a_pNumber, unsigned a_iType)
{
    const std::int64_t iNumber = json_object_get_int64(a_pNumber);
    const bool bInteger = std::in_range<std::int32_t>(iNumber);
    const bool bUnsigned = std::in_range<std::uint32_t>(iNumber);
    const bool bAny = a_iType == EDataType::Null;
    if (bInteger && (bAny || a_iType == EDataType::Integer)) {
        return Value(EDataType::Integer, static_cast<int>(iNumber));
    }
    if (bUnsigned && (bAny || a_iType == EDataType::Unsigned)) {
        return Value(EDataType::Unsigned, static_cast<int>(iNumber));
    }
    return {};
}

/// The value in the type of its column, where 1 stands for an unknown type; nothing when that cannot be.
std::optional<Value> typedValue(json_object* a_pValue, unsigned a_iType)
{
    const bool bText = a_iType == EDataType::Text || a_iType == EDataType::Null;
    switch (json_object_get_type(a_pValue)) {
    case json_type_null:
        return Value(EDataType::Null);
    case json_type_int:
        return numberValue(a_pValue, a_iType);
    case json_type_string:
        return bText ? std::optional(Value(EDataType::Text, std::string(textOf(a_pValue)))) : std::nullopt;
    case json_type_object: {
        auto oBytes = hexText(a_pValue);
        return bText && oBytes ? std::optional(Value(EDataType::Text, std::move(*oBytes))) : std::nullopt;
    }
    case json_type_boolean:
    case json_type_double:
    case json_type_array:
        break;
    }
    return {};
}

const ColumnList::Entry* findColumn(const ColumnList& a_lSchema, std::string_view a_sName)
{
    for (const auto& oColumn : a_lSchema) {
        if (sameIgnoringCase(oColumn.first, a_sName)) {
            return &oColumn;
        }
    }
    return nullptr;
}

Outcome unknownColumn(const std::string& a_sName, const ColumnList& a_lSchema)
{
    std::vector<std::string> lNames;
    for (const auto& [sName, eType] : a_lSchema) {
        lNames.push_back(sName);
    }
    return client::Status::refused(EResultCode::NoTable, unknownName("column", a_sName, "", lNames));
}

Outcome readCell(const std::string& a_sName, json_object* a_pValue, const ColumnList& a_lSchema,
                 ValueList& a_lRow)
{
    const auto* pColumn = findColumn(a_lSchema, a_sName);
    if (pColumn == nullptr) {
        return unknownColumn(a_sName, a_lSchema);
    }
    const auto& [sName, eType] = *pColumn;
    const std::string sContext = "column \"" + a_sName + "\": ";
    if (a_lRow.find(sName) != nullptr) {
        return Outcome::usage(sContext + "it is given twice");
    }
    auto oValue = typedValue(a_pValue, unsigned(eType));
    if (!oValue) {
        return client::Status::refused(EResultCode::Mismatch, sContext + "it cannot take the value " +
                                                                  json_object_to_json_string(a_pValue));
    }
    if (oValue->toText().find('\0') != std::string::npos) {
        return client::Status::refused(EResultCode::Mismatch, sContext + "a text cannot hold a NUL byte");
    }
    a_lRow.add(sName, std::move(*oValue));
    return {};
}

Outcome readRow(json_object* a_pRow, const ColumnList& a_lSchema, ImportRow& a_oRow)
{
    json_object* pId = nullptr;
    if (json_object_object_get_ex(a_pRow, "Id", &pId)) { // first, for the texts that name the row
        a_oRow.m_sId = json_object_get_string(pId) != nullptr ? json_object_get_string(pId) : "";
        a_oRow.m_sWhere += ", Id " + (pId != nullptr ? a_oRow.m_sId : std::string("null"));
    }
    json_object_object_foreach(a_pRow, pName, pMember)
    {
        if (Outcome oOutcome = readCell(pName, pMember, a_lSchema, a_oRow.m_lValues); !oOutcome.ok()) {
            return oOutcome;
        }
    }
    const Value* pValue = a_oRow.m_lValues.find("Id");
    if (pValue == nullptr) {
        return {};
    }
    a_oRow.m_sId = pValue->toText();
    return pValue->getType() == EDataType::Integer ? Outcome()
                                                   : Outcome::usage("column \"Id\": it is no number");
}

ValueList difference(const ValueList& a_lWanted, const client::RowView& a_oCurrent)
{
    ValueList lDifferent;
    for (const auto& [sName, oValue] : a_lWanted) {
        const wire::Cell* pCell = a_oCurrent.find(sName);
        if (pCell == nullptr || !(pCell->toValue() == oValue)) {
            lDifferent.add(sName, oValue);
        }
    }
    return lDifferent;
}

bool differsFromZeroRow(const ImportRow& a_oRow, const std::optional<ValueList>& a_oZeroRow)
{
    const client::Rows oZero = a_oZeroRow ? client::Rows(*a_oZeroRow) : client::Rows();
    return oZero.empty() || !difference(a_oRow.m_lValues, oZero[0]).empty();
}

/// Gives the rows that have no Id the next ones. False when none is left.
bool giveIds(std::vector<ImportRow>& a_lWanted, const std::map<std::string, std::size_t>& a_mCurrent)
{
    int iLast = 0;
    const auto see = [&](const std::string& a_sId) {
        int iId = 0;
        std::from_chars(a_sId.data(), a_sId.data() + a_sId.size(), iId);
        iLast = std::max(iLast, iId);
    };
    std::ranges::for_each(a_mCurrent | std::views::keys, see);
    std::ranges::for_each(a_lWanted | std::views::transform(&ImportRow::m_sId), see);
    for (ImportRow& oRow : a_lWanted) {
        if (!oRow.m_sId.empty()) {
            continue;
        }
        if (iLast == std::numeric_limits<int>::max()) {
            return false;
        }
        oRow.m_lValues.add("Id", Value(EDataType::Integer, ++iLast));
        oRow.m_sId = std::to_string(iLast);
    }
    return true;
}

} // namespace

Outcome readRows(json_object* a_pRows, const ColumnList& a_lSchema, std::vector<ImportRow>& a_lRows)
{
    if (!json_object_is_type(a_pRows, json_type_array)) {
        return Outcome::usage("\"rows\" is not an array");
    }
    std::set<std::string> lIds;
    for (std::size_t i = 0; i < json_object_array_length(a_pRows); ++i) {
        ImportRow& oRow = a_lRows.emplace_back(ImportRow{"rows[" + std::to_string(i) + "]", {}, {}});
        json_object* pRow = json_object_array_get_idx(a_pRows, i);
        Outcome oOutcome = json_object_is_type(pRow, json_type_object) ? readRow(pRow, a_lSchema, oRow)
                                                                       : Outcome::usage("not an object");
        if (oOutcome.ok() && !oRow.m_sId.empty() && !lIds.insert(oRow.m_sId).second) {
            oOutcome = Outcome::usage("a row before it has the same Id");
        }
        if (!oOutcome.ok()) {
            oOutcome.m_sText.insert(0, oRow.m_sWhere + ": ");
            return oOutcome;
        }
    }
    return {};
}

Outcome planImport(const client::Rows& a_oCurrent, const std::optional<ValueList>& a_oZeroRow,
                   std::vector<ImportRow> a_lWanted, ImportPlan& a_oPlan)
{
    std::map<std::string, std::size_t> mCurrent;
    for (std::size_t i = 0; i < a_oCurrent.size(); ++i) {
        const wire::Cell* pId = a_oCurrent[i].find("Id");
        mCurrent.emplace(pId != nullptr ? cellText(*pId) : std::string(), i);
    }
    if (!giveIds(a_lWanted, mCurrent)) {
        return Outcome::usage("no Id is left for the rows that have none");
    }
    for (ImportRow& oRow : a_lWanted) {
        const auto it = mCurrent.find(oRow.m_sId);
        if (it != mCurrent.end()) {
            oRow.m_lValues = difference(oRow.m_lValues, a_oCurrent[it->second]);
            mCurrent.erase(it);
            if (!oRow.m_lValues.empty()) {
                a_oPlan.m_lUpdates.push_back(std::move(oRow));
            }
        } else if (oRow.m_sId != "0") {
            a_oPlan.m_lInserts.push_back(std::move(oRow));
        } else if (differsFromZeroRow(oRow, a_oZeroRow)) {
            return client::Status::refused(
                EResultCode::ReadOnly, oRow.m_sWhere + ": it differs from the row with Id 0 that is there,"
                                                       " which nobody can write; leave it out");
        }
    }
    for (const auto& [sId, iRow] : mCurrent) {
        a_oPlan.m_lDeletes.push_back(sId);
    }
    return {};
}

} // namespace systema::cli
