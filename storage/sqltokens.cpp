#include "storage/sqltokens.h"

#include <algorithm>
#include <cctype>

namespace systema {

namespace {

bool isBlank(char a_c)
{
    return a_c == ' ' || (a_c >= '\t' && a_c <= '\r');
}

bool isWord(char a_c)
{
    return std::isalnum(static_cast<unsigned char>(a_c)) != 0 || a_c == '_' || a_c == '$' ||
           static_cast<unsigned char>(a_c) >= 0x80;
}

bool isDigit(char a_c)
{
    return a_c >= '0' && a_c <= '9';
}

/// The number of bytes up to and including the piece; all bytes when it is missing.
std::size_t sizeThrough(std::string_view a_sText, std::string_view a_sPiece, std::size_t a_iFrom)
{
    const std::size_t iAt = a_sText.find(a_sPiece, a_iFrom);
    return iAt == std::string_view::npos ? a_sText.size() : iAt + a_sPiece.size();
}

/// The number of bytes of blanks and comments at the start of the text.
std::size_t gapSize(std::string_view a_sText)
{
    std::size_t iSize = 0;
    for (;;) {
        const std::string_view sRest = a_sText.substr(iSize);
        if (!sRest.empty() && isBlank(sRest.front())) {
            ++iSize;
        } else if (sRest.starts_with("--")) {
            iSize += sizeThrough(sRest, "\n", 0);
        } else if (sRest.starts_with("/*")) {
            iSize += sizeThrough(sRest, "*/", 2);
        } else {
            return iSize;
        }
    }
}

char closingQuote(char a_cOpening)
{
    return a_cOpening == '['                                              ? ']'
           : a_cOpening == '\'' || a_cOpening == '"' || a_cOpening == '`' ? a_cOpening
                                                                          : '\0';
}

/// The number of bytes of a quoted token; a quote inside is doubled, except in brackets.
std::size_t quotedSize(std::string_view a_sText, char a_cQuote)
{
    const std::string_view sQuote(&a_cQuote, 1);
    std::size_t iSize = sizeThrough(a_sText, sQuote, 1);
    while (a_cQuote != ']' && iSize < a_sText.size() && a_sText[iSize] == a_cQuote) {
        iSize = sizeThrough(a_sText, sQuote, iSize + 1);
    }
    return iSize;
}

/// The token at the start of the text, which is not empty.
SqlToken firstToken(std::string_view a_sText)
{
    using EKind = SqlToken::EKind;
    const char cFirst = a_sText.front();
    if (const char cQuote = closingQuote(cFirst)) {
        return {cQuote == '\'' ? EKind::String : EKind::Name, a_sText.substr(0, quotedSize(a_sText, cQuote))};
    }
    if (!isWord(cFirst)) {
        return {EKind::Other, a_sText.substr(0, 1)};
    }
    const auto itEnd = std::ranges::find_if_not(
        a_sText, [&](char a_c) { return isWord(a_c) || (a_c == '.' && isDigit(cFirst)); });
    return {isDigit(cFirst) ? EKind::Other : EKind::Name,
            a_sText.substr(0, static_cast<std::size_t>(itEnd - a_sText.begin()))};
}

} // namespace

bool SqlToken::isKeyword(std::string_view a_sUpperCase) const
{
    return m_eKind == EKind::Name && std::ranges::equal(m_sText, a_sUpperCase, {}, [](char a_c) {
               return std::toupper(static_cast<unsigned char>(a_c));
           });
}

std::string SqlToken::name() const
{
    const char cQuote = m_sText.empty() ? '\0' : closingQuote(m_sText.front());
    if (cQuote == '\0' || m_sText.size() < 2) {
        return std::string(m_sText);
    }
    std::string sName;
    for (std::size_t i = 1; i + 1 < m_sText.size(); ++i) {
        sName += m_sText[i];
        if (m_sText[i] == cQuote) {
            ++i; // the other of a pair
        }
    }
    return sName;
}

std::vector<SqlToken> splitSql(std::string_view a_sSql)
{
    std::vector<SqlToken> lTokens;
    for (;;) {
        const std::size_t iGap = gapSize(a_sSql);
        a_sSql.remove_prefix(iGap);
        if (a_sSql.empty()) {
            return lTokens;
        }
        lTokens.push_back(firstToken(a_sSql));
        lTokens.back().m_bApart = iGap > 0;
        a_sSql.remove_prefix(lTokens.back().m_sText.size());
    }
}

} // namespace systema
