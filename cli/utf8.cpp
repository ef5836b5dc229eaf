#include "cli/utf8.h"

#include <algorithm>
#include <cwchar>

namespace systema::cli {

bool changesTerminal(char32_t a_iCode)
{
    return a_iCode < 0x20 || (a_iCode >= 0x7f && a_iCode < 0xa0) // C0, DEL, C1
           || a_iCode == 0x2028 || a_iCode == 0x2029             // line and paragraph separator
           || (a_iCode >= 0x202a && a_iCode <= 0x202e)           // embedding and override of direction
           || (a_iCode >= 0x2066 && a_iCode <= 0x2069);          // isolates
}

Character firstCharacter(std::string_view a_sText)
{
    const auto iByte = [&](std::size_t a_iAt) { return static_cast<unsigned char>(a_sText[a_iAt]); };
    const unsigned iFirst = iByte(0);
    if (iFirst < 0x80) {
        return {iFirst, 1};
    }
    const std::size_t iSize = iFirst >= 0xf0 ? 4 : iFirst >= 0xe0 ? 3 : 2;
    constexpr char32_t c_aLeast[] = {0, 0, 0x80, 0x800, 0x10000}; // what is less has a shorter form
    if (iFirst < 0xc2 || iFirst > 0xf4 || a_sText.size() < iSize) {
        return {{}, 1};
    }
    char32_t iCode = iFirst & (0x7fu >> iSize);
    for (std::size_t i = 1; i < iSize; ++i) {
        if ((iByte(i) & 0xc0) != 0x80) {
            return {{}, 1};
        }
        iCode = iCode << 6 | (iByte(i) & 0x3f);
    }
    const bool bSurrogate = iCode >= 0xd800 && iCode <= 0xdfff;
    if (iCode < c_aLeast[iSize] || iCode > 0x10ffff || bSurrogate) {
        return {{}, 1};
    }
    return {iCode, iSize};
}

bool isUtf8(std::string_view a_sText)
{
    while (!a_sText.empty()) {
        const Character oCharacter = firstCharacter(a_sText);
        if (!oCharacter.m_oCode) {
            return false;
        }
        a_sText.remove_prefix(oCharacter.m_iSize);
    }
    return true;
}

std::string toUtf8(std::string_view a_sText)
{
    std::string sValid;
    while (!a_sText.empty()) {
        const Character oCharacter = firstCharacter(a_sText);
        sValid += oCharacter.m_oCode ? a_sText.substr(0, oCharacter.m_iSize) : "\xef\xbf\xbd";
        a_sText.remove_prefix(oCharacter.m_iSize);
    }
    return sValid;
}

std::string hexDigits(std::string_view a_sBytes)
{
    static constexpr char c_aDigits[] = "0123456789abcdef";
    std::string sDigits;
    for (const char cByte : a_sBytes) {
        const auto iByte = static_cast<unsigned char>(cByte);
        sDigits += {c_aDigits[iByte >> 4], c_aDigits[iByte & 15]};
    }
    return sDigits;
}

std::string printable(std::string_view a_sText)
{
    std::string sShown;
    while (!a_sText.empty()) {
        const Character oCharacter = firstCharacter(a_sText);
        const std::string_view sBytes = a_sText.substr(0, oCharacter.m_iSize);
        if (oCharacter.m_oCode && !changesTerminal(*oCharacter.m_oCode)) {
            sShown += sBytes;
        } else {
            for (const char& cByte : sBytes) {
                sShown += "\\x" + hexDigits({&cByte, 1});
            }
        }
        a_sText.remove_prefix(oCharacter.m_iSize);
    }
    return sShown;
}

std::size_t displayWidth(std::string_view a_sText)
{
    std::size_t iWidth = 0;
    while (!a_sText.empty()) {
        const Character oCharacter = firstCharacter(a_sText);
        const char32_t iCode = oCharacter.m_oCode.value_or(U'?');
        const int iColumns = iCode < 0x80 ? 1 : ::wcwidth(static_cast<wchar_t>(iCode));
        iWidth += iColumns < 0 ? 1u : static_cast<unsigned>(iColumns); // -1: the locale does not know it
        a_sText.remove_prefix(oCharacter.m_iSize);
    }
    return iWidth;
}

} // namespace systema::cli
