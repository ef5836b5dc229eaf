#include "status/connection.h"

#include "zel/convert.h"

namespace zel {

namespace {

/// What follows the first '=' of a token, all of it when there is none.
std::string text(std::string_view a_sToken)
{
    return std::string(a_sToken.substr(a_sToken.find('=') + 1));
}

std::int32_t number(std::string_view a_sToken)
{
    return lowest32Bits(text(a_sToken).c_str());
}

} // namespace

ConnectionTokens splitConnection(std::string_view a_sLine)
{
    ConnectionTokens aTokens;
    std::size_t iCount = 0;
    std::size_t iEnd = 0;
    while (iCount < aTokens.size() && (iEnd = a_sLine.find(' ')) != std::string_view::npos) {
        if (iEnd > 0) {
            aTokens[iCount++] = a_sLine.substr(0, iEnd);
        }
        a_sLine.remove_prefix(iEnd + 1);
    }
    return aTokens;
}

bool Connection::init(std::int32_t a_iLine, const ConnectionTokens& a_aTokens)
{
    m_iLine = a_iLine;
    m_sProtocol = text(a_aTokens[2]);
    m_iProtocolNumber = number(a_aTokens[3]);
    m_iExpires = number(a_aTokens[4]);

    const bool bTcp = m_sProtocol == "tcp";
    if (!bTcp && m_sProtocol != "udp") {
        return false;
    }
    std::size_t i = 5;
    if (bTcp) {
        m_sState = text(a_aTokens[i++]);
    }
    m_sSrcAddress = text(a_aTokens[i]);
    m_sDstAddress = text(a_aTokens[i + 1]);
    m_iSrcPort = number(a_aTokens[i + 2]);
    m_iDstPort = number(a_aTokens[i + 3]);
    m_bUnreplied = a_aTokens[i + 4] == "[UNREPLIED]";
    m_bAssured = a_aTokens[i + 8] == "[ASSURED]";
    return true;
}

} // namespace zel
