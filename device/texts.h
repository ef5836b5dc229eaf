// Numbers with texts: a text stands at the place of its number.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace zel::device {

/// The text of the number, the fallback for a number that has none.
template<std::size_t Size>
constexpr const char* textOf(const std::array<const char*, Size>& a_aTexts, auto a_iNumber,
                             const char* a_pFallback)
{
    // A negative number becomes one that is too large.
    const auto iPlace = static_cast<std::size_t>(a_iNumber);
    return iPlace < Size ? a_aTexts[iPlace] : a_pFallback;
}

/// The number of the text, 0 for one that is not there.
template<std::size_t Size>
constexpr int numberOf(const std::array<const char*, Size>& a_aTexts, std::string_view a_sText)
{
    const auto it = std::ranges::find(a_aTexts, a_sText);
    return it == a_aTexts.end() ? 0 : static_cast<int>(it - a_aTexts.begin());
}

} // namespace zel::device
