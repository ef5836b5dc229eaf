// The statements of one connection that are kept prepared, found by their text.
//
// Owned by the connection, which empties it before it is closed. Bounded in the number of statements and in
// their texts together, which their memory goes by; those unused for longest make room for a new one.
// Nothing here fails but for want of memory, and then nothing was added.
#pragma once

#include "storage/sqlitestatement.h"

#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace systema {

class StatementCache
{
public:
    /// The statement of the text, null when there is none. Lives until the next is added.
    SqliteStatement* find(std::string_view a_sText);
    /// Keeps a statement under its text, which is not in the cache yet.
    SqliteStatement& add(std::string_view a_sText, SqliteStatement a_oStatement);
    void clear();

    static constexpr std::size_t c_iMaximum = 64;
    static constexpr std::size_t c_iMaximumText = 16 * 1024; // characters

private:
    using Entries = std::list<std::pair<std::string, SqliteStatement>>;

    void dropLast();

    Entries m_lEntries;                                                // used last first
    std::size_t m_iText = 0;                                           // characters in m_lEntries
    std::unordered_map<std::string_view, Entries::iterator> m_mByText; // the texts are those of m_lEntries
};

} // namespace systema
