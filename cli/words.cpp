#include "cli/words.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>
#include <utility>

namespace systema::cli {

bool WordSplitter::endsWithOperator() const
{
    static constexpr std::array<std::string_view, 4> c_aOperators{"&&", "||", "&", "|"};
    if (!m_bInWord) {
        return false;
    }
    const std::string& sWord = m_lWords.back();
    return (m_bPlainLast && sWord.ends_with(';')) ||
           (m_bPlain && std::ranges::find(c_aOperators, sWord) != c_aOperators.end());
}

/// Appends the text that begins behind "$'" to the word. Returns its length with the closing quote, 0 for a
/// fault.
std::size_t WordSplitter::addEscaped(std::string_view a_sText)
{
    static constexpr std::string_view c_sLetters = "abeEfnrtv\\'\"?";
    static constexpr std::string_view c_sBytes = "\a\b\x1b\x1b\f\n\r\t\v\\'\"?";
    for (std::size_t i = 0; i < a_sText.size(); ++i) {
        if (a_sText[i] == '\'') {
            return i + 1;
        }
        if (a_sText[i] != '\\') {
            m_lWords.back() += a_sText[i];
            continue;
        }
        const std::string_view sEscape = a_sText.substr(i + 1);
        if (const auto iLetter = c_sLetters.find(sEscape.substr(0, 1));
            !sEscape.empty() && iLetter < c_sLetters.size()) {
            m_lWords.back() += c_sBytes[iLetter];
            ++i;
            continue;
        }
        const bool bHex = sEscape.starts_with('x');
        const std::string_view sDigits = sEscape.substr(bHex ? 1 : 0, bHex ? 2 : 3);
        unsigned char iByte = 0;
        const auto [pEnd, eError] =
            std::from_chars(sDigits.data(), sDigits.data() + sDigits.size(), iByte, bHex ? 16 : 8);
        if (eError != std::errc() || iByte == 0) {
            return 0;
        }
        m_lWords.back() += static_cast<char>(iByte);
        i += static_cast<std::size_t>(pEnd - sEscape.data());
    }
    return 0;
}

WordSplitter::EState WordSplitter::add(std::string_view a_sLine)
{
    if (m_cQuote != 0 && !std::exchange(m_bContinued, false)) {
        m_lWords.back() += '\n';
    }
    m_bContinued = false;
    for (std::size_t i = 0; i < a_sLine.size(); ++i) {
        char cByte = a_sLine[i];
        if (m_cQuote == 0 && (cByte == ' ' || cByte == '\t' || cByte == '\r')) {
            if (endsWithOperator()) {
                return EState::Operator;
            }
            m_bInWord = false;
            continue;
        }
        if (m_cQuote != '\'' && cByte == '\\' && i + 1 == a_sLine.size()) {
            m_bContinued = true;
            return EState::WantsLine;
        }
        if (!m_bInWord) {
            if (cByte == '#') {
                break;
            }
            m_lWords.emplace_back();
            m_bInWord = true;
            m_bPlain = true;
        }
        if (m_cQuote == 0 && a_sLine.substr(i).starts_with("$'")) {
            const std::size_t iLength = addEscaped(a_sLine.substr(i + 2));
            if (iLength == 0) {
                return EState::BadEscape;
            }
            i += 1 + iLength;
            m_bPlain = m_bPlainLast = false;
            continue;
        }
        const bool bOpens = m_cQuote == 0 && (cByte == '\'' || cByte == '"');
        if (bOpens || (m_cQuote != 0 && cByte == m_cQuote)) {
            m_cQuote = bOpens ? cByte : static_cast<char>(0);
            m_bPlain = m_bPlainLast = false;
            continue;
        }
        m_bPlainLast = m_cQuote == 0;
        if (cByte == '\\' && m_cQuote != '\'') {
            const char cNext = a_sLine[i + 1];
            if (m_cQuote == 0 || cNext == '"' ||
                cNext == '\\') { // elsewhere in "quotes" it stands for itself
                cByte = cNext;
                ++i;
                m_bPlainLast = false;
            }
        }
        if (cByte == '$' && m_bPlainLast) {
            m_mDollars.try_emplace(m_lWords.size() - 1, m_lWords.back().size());
        }
        m_bPlain = m_bPlain && m_bPlainLast;
        m_lWords.back() += cByte;
    }
    if (m_cQuote != 0) {
        return EState::WantsLine;
    }
    const bool bOperator = endsWithOperator();
    m_bInWord = false;
    return bOperator ? EState::Operator : EState::Complete;
}

std::optional<std::vector<std::string>> splitWords(std::string_view a_sLine)
{
    WordSplitter oSplitter;
    return oSplitter.add(a_sLine) == WordSplitter::EState::Complete ? std::optional(oSplitter.words())
                                                                    : std::nullopt;
}

} // namespace systema::cli
