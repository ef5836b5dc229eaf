// The form in which a stored table takes the value of a key. A function over text; no failure.
#pragma once

#include <string>
#include <string_view>

namespace systema {

/// The key value that finds the text in a stored table: with each single quote doubled.
std::string storedKey(std::string_view a_sText);

} // namespace systema
