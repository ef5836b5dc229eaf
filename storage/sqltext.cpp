#include "storage/sqltext.h"

#include "storage/sqlitestring.h"
#include "systema/refusal.h"

#include <algorithm>
#include <utility>

namespace systema {

namespace {

bool isNameStart(char a_c)
{
    return (a_c >= 'a' && a_c <= 'z') || (a_c >= 'A' && a_c <= 'Z') || a_c == '_' ||
           static_cast<unsigned char>(a_c) >= 0x80;
}

/// True for exactly one identifier token of SQLite.
bool isPlainName(std::string_view a_sName)
{
    return !a_sName.empty() && isNameStart(a_sName.front()) && std::ranges::all_of(a_sName, [](char a_c) {
        return isNameStart(a_c) || (a_c >= '0' && a_c <= '9') || a_c == '$';
    });
}

/// The text that stands between single quotes in SQL, with each doubled quote as one; nothing when a single
/// quote ends it early.
std::optional<std::string> unquoted(std::string_view a_sText)
{
    std::string sText;
    for (std::size_t i = 0; i < a_sText.size(); ++i) {
        if (a_sText[i] == '\'' && (++i == a_sText.size() || a_sText[i] != '\'')) {
            return std::nullopt;
        }
        sText += a_sText[i];
    }
    return sText;
}

/// The text as C formatting would print it: up to a NUL byte.
std::string_view printed(const std::string& a_sText)
{
    return std::string_view(a_sText).substr(0, a_sText.find('\0'));
}

} // namespace

bool SqlText::count(std::size_t a_iLength)
{
    if (!isTooLong()) {
        m_iLength += a_iLength;
    }
    return !isTooLong();
}

SqlText& SqlText::sql(std::string_view a_sPiece)
{
    if (count(a_sPiece.size())) {
        m_sPrepared += a_sPiece;
    }
    return *this;
}

SqlText& SqlText::uncounted(std::string_view a_sPiece)
{
    m_sPrepared += a_sPiece;
    return *this;
}

SqlText& SqlText::name(std::string_view a_sName)
{
    if (!m_sRefused && !isPlainName(a_sName)) {
        m_sRefused = "near \"" + std::string(a_sName) + '"';
    }
    if (count(a_sName.size())) {
        // Quoted, since a board may well have a column "Order" or "Group". Not with double quotes: SQLite
        // takes an unknown name in these for a text.
        m_sPrepared += '`';
        m_sPrepared += a_sName;
        m_sPrepared += '`';
    }
    return *this;
}

SqlText& SqlText::bind(std::size_t a_iLength, Binding a_oBinding)
{
    if (count(a_iLength)) {
        m_sPrepared += '?';
        m_lBindings.push_back(a_oBinding);
    }
    return *this;
}

SqlText& SqlText::number(std::uint64_t a_iNumber)
{
    return bind(std::to_string(a_iNumber).size(), static_cast<std::int64_t>(a_iNumber));
}

SqlText& SqlText::key(std::string_view a_sColumn, const std::string& a_sKey)
{
    name(a_sColumn).sql(" = ");
    const std::string_view sKey = printed(a_sKey);
    auto oText = unquoted(sKey);
    if (!oText && !m_sRefused) {
        m_sRefused = "near the quote in the key value of " + std::string(a_sColumn);
        noteRefusal(EResultCode::NoTable, "the value of the key " + std::string(a_sColumn) +
                                              " has a single quote, which must be doubled in a key");
    }
    m_lKeys.push_front(std::move(oText).value_or(""));
    return bind(sKey.size() + 2, m_lKeys.front());
}

SqlText::Rendered SqlText::render(const Value& a_oValue)
{
    switch (a_oValue.getType()) {
    case EDataType::Text: {
        const std::string_view sText = printed(a_oValue.getText());
        return {SqliteString::replace(sText, "'", "''").size() + 2, sText};
    }
    case EDataType::Integer: {
        const int iNumber = a_oValue.getInteger();
        return {std::to_string(iNumber).size(), std::int64_t{iNumber}};
    }
    case EDataType::Unsigned: {
        const unsigned iNumber = a_oValue.getUnsigned();
        return {std::to_string(iNumber).size(), std::int64_t{iNumber}};
    }
    default:
        return {std::string_view("NULL").size(), std::monostate()};
    }
}

SqlText& SqlText::value(const Value& a_oValue)
{
    const Rendered oRendered = render(a_oValue);
    return bind(oRendered.m_iLength, oRendered.m_oBinding);
}

template<typename List, typename Put>
SqlText& SqlText::join(const List& a_lList, std::string_view a_sSeparator, Put a_oPut)
{
    std::string_view sSeparator;
    for (const auto& oEntry : a_lList) {
        sql(sSeparator);
        a_oPut(oEntry);
        sSeparator = a_sSeparator;
    }
    return *this;
}

SqlText& SqlText::columns(const NameList& a_lNames)
{
    return a_lNames.empty() ? sql("*") : join(a_lNames, ", ", [this](const auto& a_sName) { name(a_sName); });
}

SqlText& SqlText::names(const ValueList& a_lValues)
{
    return join(a_lValues, ", ", [this](const auto& a_oEntry) { name(a_oEntry.first); });
}

SqlText& SqlText::values(const ValueList& a_lValues)
{
    return join(a_lValues, ", ", [this](const auto& a_oEntry) { value(a_oEntry.second); });
}

SqlText& SqlText::assignments(const ValueList& a_lValues)
{
    return join(a_lValues, ", ",
                [this](const auto& a_oEntry) { name(a_oEntry.first).sql(" = ").value(a_oEntry.second); });
}

SqlText& SqlText::conditions(const ValueList& a_lValues, std::span<const StoredCell> a_lCells)
{
    auto itCell = a_lCells.begin();
    return join(a_lValues, " AND ", [&](const auto& a_oEntry) {
        const bool bNull = a_oEntry.second.getType() == EDataType::Null;
        const std::string_view sOperator = bNull ? " IS " : " = "; // of the plain text
        name(a_oEntry.first).uncounted(" IS ");
        bind(sOperator.size() + render(a_oEntry.second).m_iLength, (itCell++)->get());
    });
}

} // namespace systema
