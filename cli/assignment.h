// Values as they are typed: "COLUMN=VALUE", "COLUMN=" for an empty text, "COLUMN:null" for NULL, and their
// way to typed values. Free functions over plain data.
#pragma once

#include "client/result.h"
#include "systema/lists.h"

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace systema::cli {

struct Assignment
{
    std::string m_sColumn;
    std::optional<std::string> m_oText; // nothing for NULL
};

/// Takes an argument apart at its first "="; nothing when it is not an assignment.
std::optional<Assignment> parseAssignment(std::string_view a_sArgument);

/// The assignment as it is typed.
std::string textOf(const Assignment& a_oAssignment);

/// The number that the whole text is; nothing when it is none or out of range.
template<typename Int>
std::optional<Int> parseNumber(std::string_view a_sText)
{
    Int iNumber{};
    const char* pEnd = a_sText.data() + a_sText.size();
    const auto [pRest, eError] = std::from_chars(a_sText.data(), pEnd, iNumber);
    return eError == std::errc() && pRest == pEnd ? std::optional(iNumber) : std::nullopt;
}

/// The value in the type of its column. A column that the schema lacks, or whose type is unknown, takes text;
/// the server then says what it thinks of it. 7: not a number, or out of the type's range.
client::Result<ValueList> typedValues(const std::vector<Assignment>& a_lAssignments,
                                      const ColumnList& a_lSchema);

} // namespace systema::cli
