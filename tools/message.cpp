#include "tools/message.h"

#include "cli/assignment.h"
#include "dbus/objectpath.h"
#include "tools/signals.h"

#include <cstdint>
#include <sstream>
#include <vector>

namespace zel::netsim {

namespace {

template<typename Type>
bool appendValue(DBusMessageIter& a_oTo, char a_cType, Type a_oValue)
{
    return dbus_message_iter_append_basic(&a_oTo, a_cType, &a_oValue);
}

template<typename Number>
bool appendNumber(DBusMessageIter& a_oTo, char a_cType, const std::string& a_sText)
{
    const auto iNumber = systema::cli::parseNumber<Number>(a_sText);
    return iNumber && appendValue(a_oTo, a_cType, *iNumber);
}

/// False when the word is no value of the type.
bool appendBasic(DBusMessageIter& a_oTo, char a_cType, const std::string& a_sText)
{
    switch (a_cType) {
    case DBUS_TYPE_BYTE:
        return appendNumber<std::uint8_t>(a_oTo, a_cType, a_sText);
    case DBUS_TYPE_INT32:
        return appendNumber<std::int32_t>(a_oTo, a_cType, a_sText);
    case DBUS_TYPE_UINT32:
        return appendNumber<std::uint32_t>(a_oTo, a_cType, a_sText);
    case DBUS_TYPE_DOUBLE:
        return appendNumber<double>(a_oTo, a_cType, a_sText);
    case DBUS_TYPE_BOOLEAN:
        return (a_sText == "true" || a_sText == "false") &&
               appendValue(a_oTo, a_cType, dbus_bool_t(a_sText == "true"));
    case DBUS_TYPE_STRING:
        return dbus_validate_utf8(a_sText.c_str(), nullptr) && appendValue(a_oTo, a_cType, a_sText.c_str());
    default:
        return false;
    }
}

bool appendArray(DBusMessageIter& a_oTo, char a_cType, const std::string& a_sText)
{
    const char aTypes[] = {a_cType, '\0'};
    DBusMessageIter oElements;
    dbus_message_iter_open_container(&a_oTo, DBUS_TYPE_ARRAY, aTypes, &oElements);
    bool bAppended = true;
    std::istringstream oElementTexts(a_sText);
    for (std::string sElement; bAppended && std::getline(oElementTexts, sElement, ',');) {
        bAppended = appendBasic(oElements, a_cType, sElement);
    }
    dbus_message_iter_close_container(&a_oTo, &oElements);
    return bAppended;
}

/// The complete types of the signature, "s" or "as" each; nothing when it holds others.
std::optional<std::vector<std::string>> splitTypes(std::string_view a_sTypes)
{
    std::vector<std::string> lTypes;
    while (!a_sTypes.empty()) {
        const std::size_t iLength = a_sTypes.front() == DBUS_TYPE_ARRAY ? 2 : 1;
        if (a_sTypes.size() < iLength ||
            std::string_view("yiudbs").find(a_sTypes[iLength - 1]) == std::string_view::npos) {
            return {};
        }
        lTypes.emplace_back(a_sTypes.substr(0, iLength));
        a_sTypes.remove_prefix(iLength);
    }
    return lTypes;
}

} // namespace

Failure makeSignal(const std::string& a_sName, const std::optional<std::string>& a_oTypes, Words a_lArguments,
                   Message& a_oMessage)
{
    const Signal* pSignal = findSignal(a_sName);
    if (pSignal == nullptr) {
        return "there is no signal \"" + a_sName + "\"";
    }
    const std::string sTypes = a_oTypes.value_or(pSignal->m_pTypes);
    const auto oTypes = splitTypes(sTypes);
    if (!oTypes) {
        return a_sName + ": the types \"" + sTypes + "\" are not of y, i, u, d, b, s and arrays, as";
    }
    if (oTypes->size() != a_lArguments.size()) {
        return a_sName + " takes " + std::to_string(oTypes->size()) + " arguments of the types \"" + sTypes +
               "\", not " + std::to_string(a_lArguments.size());
    }
    a_oMessage.reset(dbus_message_new_signal(objectPathOf(pSignal->m_pService).c_str(), pSignal->m_pService,
                                             pSignal->m_pName));
    DBusMessageIter oArguments;
    dbus_message_iter_init_append(a_oMessage.get(), &oArguments);
    for (std::size_t i = 0; i < oTypes->size(); ++i) {
        const auto oAppend = (*oTypes)[i].size() == 1 ? appendBasic : appendArray;
        if (!oAppend(oArguments, (*oTypes)[i].back(), a_lArguments[i])) {
            return a_sName + ": argument " + std::to_string(i + 1) + ", \"" + a_lArguments[i] +
                   "\", is not of type \"" + (*oTypes)[i] + "\"";
        }
    }
    return {};
}

} // namespace zel::netsim
