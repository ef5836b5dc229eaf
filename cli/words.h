// Splits a line into words as a shell does: blanks separate, 'quotes' and "quotes" hold together, a backslash
// takes the next character as it is, and # at the start of a word begins a comment.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace systema::cli {

/// The words of the line; nothing when a quote is not closed or the line ends with a lone backslash.
std::optional<std::vector<std::string>> splitWords(std::string_view a_sLine);

} // namespace systema::cli
