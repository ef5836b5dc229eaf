// The text of one SQL statement, built from fixed pieces, names and values.
//
// It is kept in two forms at once: the length of the plain text, with every value written out, which is
// what the limits count; and the text that is prepared, in which every value is a "?" with its binding, so
// that statements of one shape share one text. Names and key values that would break out of the plain text
// never reach the prepared one: what would have been wrong with the text is kept. A local object of one
// operation; the names and values put in must outlive it. Nothing here fails: the owner asks isTooLong() and
// getRefused().
#pragma once

#include "storage/storedcell.h"
#include "systema/lists.h"

#include <cstdint>
#include <forward_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace systema {

class SqlText
{
public:
    using Binding = std::variant<std::monostate, std::int64_t, std::string_view, const sqlite3_value*>;

    /// A text of at most a_iLimit characters.
    explicit SqlText(std::size_t a_iLimit) : m_iLimit(a_iLimit) { m_sPrepared.reserve(128); }

    /// A fixed piece, as it is.
    SqlText& sql(std::string_view a_sPiece);
    /// A piece of the prepared text alone, which the limit does not count.
    SqlText& uncounted(std::string_view a_sPiece);
    /// A table or column name.
    SqlText& name(std::string_view a_sName);
    SqlText& number(std::uint64_t a_iNumber);
    /// "Name = 'one'", with the key value as it is: in it a doubled quote stands for one, a single one is
    /// refused.
    SqlText& key(std::string_view a_sColumn, const std::string& a_sKey);
    /// The wanted columns, "*" for none.
    SqlText& columns(const NameList& a_lNames);
    /// "A, B"
    SqlText& names(const ValueList& a_lValues);
    /// "1, 'two'"
    SqlText& values(const ValueList& a_lValues);
    /// "A = 1, B = 'two'"
    SqlText& assignments(const ValueList& a_lValues);
    /// "A = 1 AND B = 'two' AND C IS NULL" of a row as it is read; what is compared are its cells as they are
    /// stored, which hold what a value cannot.
    SqlText& conditions(const ValueList& a_lValues, std::span<const StoredCell> a_lCells);

    std::size_t getLimit() const { return m_iLimit; }
    /// Characters of the plain text; once it is too long no more are counted.
    std::size_t getLength() const { return m_iLength; }
    bool isTooLong() const { return m_iLength > m_iLimit; }
    /// What is wrong with the first name or key value that would have broken the text, for the log. It quotes
    /// a name but no key value, which may be a password.
    const std::optional<std::string>& getRefused() const { return m_sRefused; }
    /// Complete only when the text is neither too long nor has a refused piece.
    const std::string& getPrepared() const { return m_sPrepared; }
    const std::vector<Binding>& getBindings() const { return m_lBindings; }

private:
    /// Counts a piece of the plain text; false when it does not fit any more.
    bool count(std::size_t a_iLength);
    /// A value as it is bound, with its length in the plain text.
    struct Rendered
    {
        std::size_t m_iLength;
        Binding m_oBinding;
    };

    static Rendered render(const Value& a_oValue);
    /// Puts a "?" for a value that is a_iLength characters long in the plain text.
    SqlText& bind(std::size_t a_iLength, Binding a_oBinding);
    SqlText& value(const Value& a_oValue);
    template<typename List, typename Put>
    SqlText& join(const List& a_lList, std::string_view a_sSeparator, Put a_oPut);

    std::size_t m_iLimit;
    std::size_t m_iLength = 0;
    std::string m_sPrepared;
    std::forward_list<std::string> m_lKeys; // bound; their places do not change
    std::vector<Binding> m_lBindings;
    std::optional<std::string> m_sRefused;
};

} // namespace systema
