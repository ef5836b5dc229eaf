// Building and reading JSON over json-c. What comes out is valid JSON whatever bytes a table holds,
// and changes no terminal that it is written to.
#pragma once

#include "client/rows.h"

#include <json-c/json.h>
#include <memory>
#include <ostream>
#include <string_view>

namespace systema::cli {

struct JsonDeleter
{
    void operator()(json_object* a_pObject) const { json_object_put(a_pObject); }
};
using JsonPtr = std::unique_ptr<json_object, JsonDeleter>;

/// How bytes that are not UTF-8 are told.
enum class EInvalidBytes
{
    Replace, // by U+FFFD, a byte each
    Hex      // the whole text as {"hex":"..."}, from which it can be had back
};

JsonPtr jsonText(std::string_view a_sText, EInvalidBytes a_eInvalid = EInvalidBytes::Replace);
/// Integers are numbers, NULL is null.
JsonPtr jsonCell(const wire::Cell& a_oCell, EInvalidBytes a_eInvalid = EInvalidBytes::Replace);
/// An object with a member per column.
JsonPtr jsonRow(const client::RowView& a_oRow, EInvalidBytes a_eInvalid = EInvalidBytes::Replace);

/// Adds a member; a name that is there already is replaced.
void addMember(const JsonPtr& a_oObject, std::string_view a_sName, JsonPtr a_oMember);
void addElement(const JsonPtr& a_oArray, JsonPtr a_oElement);

/// The object on one line, without blanks.
std::ostream& operator<<(std::ostream& a_oStream, const JsonPtr& a_oJson);

/// Parses a whole text; null, with a text that says why, when it is not JSON.
JsonPtr parseJson(std::string_view a_sText, std::string& a_sError);

/// The content of a string.
std::string_view textOf(json_object* a_pString);

} // namespace systema::cli
