#include "cli/assignment.h"

#include "options/nearest.h"

#include <cstdint>

namespace systema::cli {

namespace {

constexpr std::string_view c_sNull = ":null";

/// The value of a text in a type; nothing when the text is not a number of that type.
std::optional<Value> typedValue(std::string_view a_sText, unsigned a_iType)
{
    if (a_iType == EDataType::Integer) {
        const auto iNumber = parseNumber<std::int32_t>(a_sText);
        return iNumber ? std::optional(Value(a_iType, *iNumber)) : std::nullopt;
    }
    if (a_iType == EDataType::Unsigned) {
        const auto iNumber = parseNumber<std::uint32_t>(a_sText);
        return iNumber ? std::optional(Value(a_iType, static_cast<int>(*iNumber))) : std::nullopt;
    }
    return Value(EDataType::Text, std::string(a_sText));
}

/// SQLite's own names of the number of a row: a write of one would change the Id unseen.
bool isRowNumber(std::string_view a_sColumn)
{
    return sameIgnoringCase(a_sColumn, "rowid") || sameIgnoringCase(a_sColumn, "oid") ||
           sameIgnoringCase(a_sColumn, "_rowid_");
}

} // namespace

std::optional<Assignment> parseAssignment(std::string_view a_sArgument)
{
    const auto iEquals = a_sArgument.find('=');
    if (iEquals != std::string_view::npos && iEquals > 0) {
        return Assignment{std::string(a_sArgument.substr(0, iEquals)),
                          std::string(a_sArgument.substr(iEquals + 1))};
    }
    if (iEquals == std::string_view::npos && a_sArgument.ends_with(c_sNull) &&
        a_sArgument.size() > c_sNull.size()) {
        a_sArgument.remove_suffix(c_sNull.size());
        return Assignment{std::string(a_sArgument), {}};
    }
    return {};
}

std::string textOf(const Assignment& a_oAssignment)
{
    const auto& [sColumn, oText] = a_oAssignment;
    return sColumn + (oText ? "=" + *oText : std::string(c_sNull));
}

client::Result<ValueList> typedValues(const std::vector<Assignment>& a_lAssignments,
                                      const ColumnList& a_lSchema)
{
    client::Result<ValueList> oValues{client::Status()};
    for (const auto& [sColumn, oText] : a_lAssignments) {
        const auto* pColumn = a_lSchema.getColumn(sColumn);
        if (pColumn == nullptr && isRowNumber(sColumn)) {
            return client::Status::refused(EResultCode::NoTable,
                                           "no column \"" + sColumn + "\"; the number of a row is its Id");
        }
        const unsigned iType = pColumn != nullptr ? unsigned(pColumn->second) : unsigned(EDataType::Text);
        auto oValue = oText ? typedValue(*oText, iType) : Value(EDataType::Null);
        if (!oValue) {
            return client::Status::refused(EResultCode::Mismatch,
                                           sColumn + "=" + *oText + " is not " +
                                               (iType == EDataType::Integer
                                                    ? "an integer of -2147483648 to 2147483647"
                                                    : "an integer of 0 to 4294967295"));
        }
        oValues->add(sColumn, std::move(*oValue));
    }
    return oValues;
}

} // namespace systema::cli
