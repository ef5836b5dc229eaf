// Splits SQL into tokens, as far as needed to find the parts of a statement that SQLite has accepted. A token
// is a plain value that refers to the text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace systema {

struct SqlToken
{
    enum class EKind
    {
        Name,   // a keyword or a name, also in quotes of any kind but single ones
        String, // in single quotes
        Other   // a number, or one character
    };

    EKind m_eKind;
    std::string_view m_sText; // as it stands in the statement
    bool m_bApart = false;    // blanks or comments precede it

    /// Compares without letter case.
    bool isKeyword(std::string_view a_sUpperCase) const;
    bool is(char a_cText) const
    {
        return m_eKind == EKind::Other && m_sText == std::string_view(&a_cText, 1);
    }
    /// A name without its quotes.
    std::string name() const;
};

/// The tokens without blanks and comments.
std::vector<SqlToken> splitSql(std::string_view a_sSql);

} // namespace systema
