#include "status/postauthmessage.h"

#include "zel/convert.h"

#include <optional>
#include <regex.h>
#include <string_view>

namespace zel {

namespace {

/// A POSIX extended regular expression.
class Pattern
{
public:
    explicit Pattern(const std::string& a_sExpression)
        : m_bCompiled(::regcomp(&m_oExpression, a_sExpression.c_str(), REG_EXTENDED) == 0)
    {
    }
    ~Pattern()
    {
        if (m_bCompiled) {
            ::regfree(&m_oExpression);
        }
    }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    /// The first part of the text that matches, if any does. It lives as long as the text.
    std::optional<std::string_view> find(const std::string& a_sText) const
    {
        regmatch_t oMatch;
        if (!m_bCompiled || ::regexec(&m_oExpression, a_sText.c_str(), 1, &oMatch, 0) != 0) {
            return std::nullopt;
        }
        return std::string_view(a_sText.data() + oMatch.rm_so, a_sText.data() + oMatch.rm_eo);
    }

private:
    regex_t m_oExpression{};
    const bool m_bCompiled;
};

/// What stands between a key and a terminator.
class KeyedValue
{
public:
    KeyedValue(const std::string& a_sKey, const std::string& a_sValuePattern,
               const std::string& a_sTerminator)
        : m_oPattern(a_sKey + a_sValuePattern + a_sTerminator),
          m_iKeySize(a_sKey.size()),
          m_iTerminatorSize(a_sTerminator.size())
    {
    }

    std::optional<std::string_view> find(const std::string& a_sMessage) const
    {
        auto oValue = m_oPattern.find(a_sMessage);
        if (oValue) {
            oValue->remove_prefix(m_iKeySize);
            oValue->remove_suffix(m_iTerminatorSize);
        }
        return oValue;
    }

private:
    const Pattern m_oPattern;
    const std::size_t m_iKeySize;
    const std::size_t m_iTerminatorSize;
};

/// The number that a part of a message starts with; something else follows it there.
int toNumber(std::string_view a_sDigits)
{
    return lowest32Bits(a_sDigits.data());
}

/// Reads two numbers with the separator between them. False when the message has none.
bool ParseAuthMessageOneKeyValue(PostAuthRates& a_oRates, const std::string& a_sMessage,
                                 const KeyedValue& a_oKey, char a_cSeparator, bool a_bDownstreamFirst)
{
    const auto oValue = a_oKey.find(a_sMessage);
    if (!oValue) {
        return false;
    }
    const int iFirst = toNumber(*oValue);
    const int iSecond = toNumber(oValue->substr(oValue->find(a_cSeparator) + 1));
    a_oRates = a_bDownstreamFirst ? PostAuthRates{iSecond, iFirst} : PostAuthRates{iFirst, iSecond};
    return true;
}

/// Reads the two numbers by a key each. False when the message lacks one of them.
bool ParseAuthMessageKeyValue(PostAuthRates& a_oRates, const std::string& a_sMessage,
                              const KeyedValue& a_oUpstream, const KeyedValue& a_oDownstream)
{
    const auto oUpstream = a_oUpstream.find(a_sMessage);
    const auto oDownstream = a_oDownstream.find(a_sMessage);
    if (!oUpstream || !oDownstream) {
        return false;
    }
    a_oRates = {toNumber(*oUpstream), toNumber(*oDownstream)};
    return true;
}

} // namespace

PostAuthRates parsePostAuthMessage(const std::string& a_sMessage)
{
    static const KeyedValue oBoth("UI-SBR:", "[0-9]+,[0-9]+", ";");
    static const Pattern oTwoPairs("[A-Za-z0-9]+=[0-9]+#[A-Za-z0-9]+=[0-9]+#");
    static const KeyedValue oUpstream("SRU=", "[0-9]+", "#");
    static const KeyedValue oDownstream("SRD=", "[0-9]+", "#");
    PostAuthRates oRates;
    if (!ParseAuthMessageOneKeyValue(oRates, a_sMessage, oBoth, ',', true) && oTwoPairs.find(a_sMessage)) {
        ParseAuthMessageKeyValue(oRates, a_sMessage, oUpstream, oDownstream);
    }
    return oRates;
}

} // namespace zel
