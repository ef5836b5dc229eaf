#include "zel/convert.h"

#include <cstdlib>
#include <cstring>

int ZEL_Convert_split(char** a_pParts, int a_iMost, char* a_pLine, char a_cSeparator)
{
    const char aSeparators[] = {a_cSeparator, '\0'};
    int iParts = 0;
    while (a_pLine != nullptr && iParts < a_iMost) {
        a_pParts[iParts++] = a_pLine;
        char* const pEnd = a_pLine + std::strcspn(a_pLine, aSeparators);
        const bool bCut = *pEnd != '\0' && iParts < a_iMost;
        if (bCut) {
            *pEnd = '\0';
        }
        a_pLine = bCut ? pEnd + 1 : nullptr;
    }
    return iParts;
}

std::int32_t zel::lowest32Bits(const char* a_pText)
{
    return static_cast<std::int32_t>(std::strtoll(a_pText, nullptr, 10));
}
