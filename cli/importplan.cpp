#include "cli/importplan.h"

#include "cli/cell.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <map>
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

Outcome readRow(json_object* a_pRow, const ColumnList& a_lSchema, ValueList& a_lRow)
{
    json_object_object_foreach(a_pRow, pName, pMember)
    {
        const auto* pColumn = a_lSchema.getColumn(pName);
        auto oValue =
            typedValue(pMember, pColumn != nullptr ? unsigned(pColumn->second) : unsigned(EDataType::Null));
        if (!oValue) {
            return client::Status::refused(EResultCode::Mismatch,
                                           std::string("column \"") + pName + "\" cannot take its value");
        }
        a_lRow.add(pName, std::move(*oValue));
    }
    const Value* pId = a_lRow.find("Id");
    return pId != nullptr && pId->getType() == EDataType::Integer ? Outcome() : Outcome::usage("no Id");
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

} // namespace

Outcome readRows(json_object* a_pRows, const ColumnList& a_lSchema, std::vector<ValueList>& a_lRows)
{
    if (!json_object_is_type(a_pRows, json_type_array)) {
        return Outcome::usage("\"rows\" is not an array");
    }
    std::set<int> lIds;
    for (std::size_t i = 0; i < json_object_array_length(a_pRows); ++i) {
        const std::string sContext = "row " + std::to_string(i) + ": ";
        json_object* pRow = json_object_array_get_idx(a_pRows, i);
        if (!json_object_is_type(pRow, json_type_object)) {
            return Outcome::usage(sContext + "not an object");
        }
        Outcome oOutcome = readRow(pRow, a_lSchema, a_lRows.emplace_back());
        if (oOutcome.ok() && !lIds.insert(a_lRows.back().getValue("Id").getInteger()).second) {
            oOutcome = Outcome::usage("its Id was there before");
        }
        if (!oOutcome.ok()) {
            oOutcome.m_sText.insert(0, sContext);
            return oOutcome;
        }
    }
    return {};
}

ImportPlan planImport(const client::Rows& a_oCurrent, const std::optional<ValueList>& a_oZeroRow,
                      const std::vector<ValueList>& a_lWanted)
{
    ImportPlan oPlan;
    std::map<std::string, std::size_t> mCurrent;
    for (std::size_t i = 0; i < a_oCurrent.size(); ++i) {
        const wire::Cell* pId = a_oCurrent[i].find("Id");
        mCurrent.emplace(pId != nullptr ? cellText(*pId) : std::string(), i);
    }
    for (const ValueList& lRow : a_lWanted) {
        const std::string sId = lRow.getValue("Id").toText();
        if (sId == "0") {
            const client::Rows oZero = a_oZeroRow ? client::Rows(*a_oZeroRow) : client::Rows();
            oPlan.m_bZeroRowDiffers = oZero.empty() || !difference(lRow, oZero[0]).empty();
            continue;
        }
        const auto it = mCurrent.find(sId);
        if (it == mCurrent.end()) {
            oPlan.m_lInserts.push_back(lRow);
            continue;
        }
        if (auto lDifferent = difference(lRow, a_oCurrent[it->second]); !lDifferent.empty()) {
            oPlan.m_lUpdates.emplace_back(sId, std::move(lDifferent));
        }
        mCurrent.erase(it);
    }
    for (const auto& [sId, iRow] : mCurrent) {
        oPlan.m_lDeletes.push_back(sId);
    }
    return oPlan;
}

} // namespace systema::cli
