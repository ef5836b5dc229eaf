// Cutting of text in place.
#pragma once

/// Cuts the line at the separator into at most a_iMost parts, in place: each separator that ends a part
/// becomes a NUL, and the last part is what remains. Returns the number of parts; 0 for a null line or no
/// room for one.
int ZEL_Convert_split(char** a_pParts, int a_iMost, char* a_pLine, char a_cSeparator);
