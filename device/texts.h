// Numbers with texts: a text stands at the place of its number.
#pragma once

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

namespace zel::device {

using Texts = std::span<const char* const>;

/// The text of the number, the fallback for a number that has none.
inline const char* textOf(Texts a_lTexts, long a_iNumber, const char* a_pFallback)
{
    return a_iNumber >= 0 && a_iNumber < std::ssize(a_lTexts) ? a_lTexts[static_cast<std::size_t>(a_iNumber)]
                                                              : a_pFallback;
}

/// The number of the text, 0 for one that is not there.
inline int numberOf(Texts a_lTexts, std::string_view a_sText)
{
    const auto it = std::ranges::find(a_lTexts, a_sText);
    return it == a_lTexts.end() ? 0 : static_cast<int>(it - a_lTexts.begin());
}

} // namespace zel::device
