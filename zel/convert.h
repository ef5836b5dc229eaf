// Cutting of text in place, and its numbers.
#pragma once

#include <cstdint>

/// Cuts the line at the separator into at most a_iMost parts, in place: each separator that ends a part
/// becomes a NUL, and the last part is what remains. Returns the number of parts; 0 for a null line or no
/// room for one.
int ZEL_Convert_split(char** a_pParts, int a_iMost, char* a_pLine, char a_cSeparator);

namespace zel {

/// The lowest 32 bits of the number that the text starts with, as atoi() reads it where a long has 64 bits.
std::int32_t lowest32Bits(const char* a_pText);

} // namespace zel
