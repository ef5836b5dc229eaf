#include "cli/json.h"

#include "cli/cell.h"
#include "cli/utf8.h"

#include <algorithm>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace systema::cli {

namespace {

JsonPtr newString(std::string_view a_sText)
{
    return JsonPtr(json_object_new_string_len(a_sText.data(), static_cast<int>(a_sText.size())));
}

/// The JSON with \uNNNN for what changes a terminal, which is in strings only.
std::string harmless(std::string_view a_sJson)
{
    std::string sHarmless;
    while (!a_sJson.empty()) {
        const Character oCharacter = firstCharacter(a_sJson);
        if (oCharacter.m_oCode && changesTerminal(*oCharacter.m_oCode)) {
            const char32_t iCode = *oCharacter.m_oCode; // 16 bits
            const char aBytes[] = {static_cast<char>(iCode >> 8U), static_cast<char>(iCode & 0xffU)};
            sHarmless += "\\u" + hexDigits({aBytes, sizeof aBytes});
        } else {
            sHarmless += a_sJson.substr(0, oCharacter.m_iSize);
        }
        a_sJson.remove_prefix(oCharacter.m_iSize);
    }
    return sHarmless;
}

/// "line 3, column 7: " for what comes after the text; columns are counted in bytes.
std::string placeOf(std::string_view a_sBefore)
{
    const auto iLine = std::ranges::count(a_sBefore, '\n') + 1;
    const std::size_t iColumn = a_sBefore.size() - (a_sBefore.rfind('\n') + 1) + 1;
    return "line " + std::to_string(iLine) + ", column " + std::to_string(iColumn) + ": ";
}

/// Where the second member of one name in one object begins, npos if there is none. The parser keeps the last
/// one of them without a word. The text must be JSON; names are compared as they are written.
std::size_t findRepeatedMember(std::string_view a_sText)
{
    std::vector<std::set<std::string_view>> lNames; // of the objects and arrays that are open
    bool bNameIsNext = false;
    for (std::size_t i = 0; i < a_sText.size(); ++i) {
        switch (a_sText[i]) {
        case '{':
        case '[':
            lNames.emplace_back();
            bNameIsNext = a_sText[i] == '{';
            break;
        case '}':
        case ']':
            lNames.pop_back();
            break;
        case ',':
            bNameIsNext = !lNames.back().empty(); // an array has no names
            break;
        case '"': {
            const std::size_t iBegin = i + 1;
            while (a_sText[++i] != '"') {
                i += a_sText[i] == '\\' ? 1 : 0;
            }
            if (std::exchange(bNameIsNext, false) &&
                !lNames.back().insert(a_sText.substr(iBegin, i - iBegin)).second) {
                return iBegin - 1;
            }
            break;
        }
        default:
            break;
        }
    }
    return std::string_view::npos;
}

} // namespace

JsonPtr jsonText(std::string_view a_sText, EInvalidBytes a_eInvalid)
{
    if (isUtf8(a_sText)) {
        return newString(a_sText);
    }
    if (a_eInvalid == EInvalidBytes::Replace) {
        return newString(toUtf8(a_sText));
    }
    JsonPtr oHex(json_object_new_object());
    addMember(oHex, "hex", newString(hexDigits(a_sText)));
    return oHex;
}

JsonPtr jsonCell(const wire::Cell& a_oCell, EInvalidBytes a_eInvalid)
{
    if (isNull(a_oCell)) {
        return nullptr;
    }
    return isNumber(a_oCell) ? JsonPtr(json_object_new_int64(cellNumber(a_oCell)))
                             : jsonText(a_oCell.m_sText, a_eInvalid);
}

JsonPtr jsonRow(const client::RowView& a_oRow, EInvalidBytes a_eInvalid)
{
    JsonPtr oRow(json_object_new_object());
    for (std::size_t i = 0; i < a_oRow.m_lCells.size(); ++i) {
        addMember(oRow, a_oRow.m_lColumns[i], jsonCell(a_oRow.m_lCells[i], a_eInvalid));
    }
    return oRow;
}

void addMember(const JsonPtr& a_oObject, std::string_view a_sName, JsonPtr a_oMember)
{
    json_object_object_add(a_oObject.get(), toUtf8(a_sName).c_str(), a_oMember.release());
}

void addElement(const JsonPtr& a_oArray, JsonPtr a_oElement)
{
    json_object_array_add(a_oArray.get(), a_oElement.release());
}

std::ostream& operator<<(std::ostream& a_oStream, const JsonPtr& a_oJson)
{
    return a_oStream << harmless(json_object_to_json_string_ext(
               a_oJson.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE));
}

JsonPtr parseJson(std::string_view a_sText, std::string& a_sError)
{
    const std::unique_ptr<json_tokener, decltype(&json_tokener_free)> pTokener(json_tokener_new(),
                                                                               json_tokener_free);
    json_tokener_set_flags(pTokener.get(), JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
    if (a_sText.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        a_sError = "larger than 2 GiB";
        return nullptr;
    }
    JsonPtr oJson(json_tokener_parse_ex(pTokener.get(), a_sText.data(), static_cast<int>(a_sText.size())));
    const json_tokener_error eError = json_tokener_get_error(pTokener.get());
    if (eError != json_tokener_success) {
        a_sError = eError == json_tokener_continue ? "it is not complete" : json_tokener_error_desc(eError);
        if (a_sText.find_first_not_of(" \t\r\n") == std::string_view::npos) {
            a_sError = "it is empty";
            return nullptr;
        }
        a_sError.insert(0, placeOf(a_sText.substr(0, json_tokener_get_parse_end(pTokener.get()))));
        return nullptr;
    }
    const auto iEnd = json_tokener_get_parse_end(pTokener.get());
    if (a_sText.find_first_not_of(" \t\r\n", iEnd) != std::string_view::npos) {
        a_sError =
            placeOf(a_sText.substr(0, a_sText.find_first_not_of(" \t\r\n", iEnd))) + "something follows it";
        return nullptr;
    }
    if (const auto iRepeated = findRepeatedMember(a_sText); iRepeated != std::string_view::npos) {
        a_sError = placeOf(a_sText.substr(0, iRepeated)) + "the second member of that name";
        return nullptr;
    }
    return oJson;
}

std::string_view textOf(json_object* a_pString)
{
    return {json_object_get_string(a_pString),
            static_cast<std::size_t>(json_object_get_string_len(a_pString))};
}

} // namespace systema::cli
