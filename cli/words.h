// Splits lines into words as a shell does: blanks separate, 'quotes' and "quotes" hold together, also over
// the ends of lines, a backslash takes the next character as it is, and at the end of a line the next line,
// and # at the start of a word begins a comment. $'text' has escapes (\t, \n, \001, \x01), as bash's printf
// %q writes them. What would be an operator of a shell is a fault.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace systema::cli {

class WordSplitter
{
public:
    enum class EState
    {
        Complete,
        WantsLine, // a quote is not closed, or the line ended with a backslash
        Operator,  // ; or the like, outside of quotes
        BadEscape  // $'text' that is not closed on its line, or has another escape
    };

    /// Takes a line, without its end; it continues the lines before it as long as the state is WantsLine.
    EState add(std::string_view a_sLine);
    /// The words of the lines so far; with Operator the last one is it.
    const std::vector<std::string>& words() const { return m_lWords; }

    /// By the number of a word, where its first "$" outside of quotes stands that begins no $'text'.
    const std::map<std::size_t, std::size_t>& dollars() const { return m_mDollars; }

private:
    bool endsWithOperator() const;
    std::size_t addEscaped(std::string_view a_sText);

    std::vector<std::string> m_lWords;
    std::map<std::size_t, std::size_t> m_mDollars;
    bool m_bInWord = false;
    bool m_bPlain = false;     // no character of the word was quoted
    bool m_bPlainLast = false; // its last one was not
    bool m_bContinued = false; // the line before ended with a backslash
    char m_cQuote = 0;
};

/// The words of a single line; nothing when it is not complete or has an operator.
std::optional<std::vector<std::string>> splitWords(std::string_view a_sLine);

} // namespace systema::cli
