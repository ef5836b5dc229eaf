// Texts as people and JSON readers can take them: tables may hold any bytes but NUL.
//
// Free functions without state. A byte sequence is valid by RFC 3629: no overlong forms, no surrogates.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace systema::cli {

struct Character
{
    std::optional<char32_t> m_oCode; // nothing for a byte that is not part of a valid sequence
    std::size_t m_iSize;             // bytes
};

/// The first character of a text that is not empty.
Character firstCharacter(std::string_view a_sText);

bool isUtf8(std::string_view a_sText);

/// The text with U+FFFD in the place of each invalid byte.
std::string toUtf8(std::string_view a_sText);

/// Two lower-case hexadecimal digits for each byte.
std::string hexDigits(std::string_view a_sBytes);

/// True for control characters and those that change the direction of writing.
bool changesTerminal(char32_t a_iCode);

/// The text with control characters, those that change the direction of writing, and invalid bytes shown as
/// \xNN, a byte each.
std::string printable(std::string_view a_sText);

/// The columns that a printable text takes on a terminal.
std::size_t displayWidth(std::string_view a_sText);

} // namespace systema::cli
