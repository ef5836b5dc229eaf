#include "zel/fileparser.h"

#include "zel/execute.h"
#include "zel/lines.h"

#include <algorithm>
#include <utility>

namespace zel {

bool FileParser::parse(EMode a_eMode, const std::string& a_sSource, std::string_view a_sFilter,
                       char a_cSeparator)
{
    m_lLines.clear();
    return parse(a_eMode, a_sSource, a_sFilter, a_cSeparator,
                 [this](Line a_lTokens) { m_lLines.push_back(std::move(a_lTokens)); });
}

bool FileParser::parse(EMode a_eMode, const std::string& a_sSource, std::string_view a_sFilter,
                       char a_cSeparator, const Receiver& a_oReceiver)
{
    m_bCut = false;
    m_iBytes = 0;
    std::size_t iLines = 0;
    std::size_t iTokens = 0;
    LineCutter oCutter(c_iLineBufferSize, [&](std::string_view a_sLine) {
        if (m_bCut || a_sLine.find(a_sFilter) == std::string_view::npos) {
            return;
        }
        Line lTokens = splitLine(a_sLine, a_cSeparator);
        iTokens += lTokens.size();
        m_bCut = ++iLines > c_iMostLines || iTokens > c_iMostTokens;
        if (!m_bCut) {
            a_oReceiver(std::move(lTokens));
        }
    });
    const auto oTake = [&](std::string_view a_sText) {
        const auto sFits = a_sText.substr(0, m_iMostBytes - m_iBytes);
        m_iBytes += sFits.size();
        oCutter.add(sFits);
        m_bCut = m_bCut || sFits.size() < a_sText.size();
    };
    bool bDone = false;
    if (a_eMode == EMode::Command) {
        bDone = executeCommand(a_sSource, oTake, c_oCommandCeiling) == 0;
    } else {
        const auto eLinks = a_eMode == EMode::File ? ELinks::Followed : ELinks::Refused;
        bDone = readText(a_sSource, m_iMostBytes + 1, eLinks, oTake); // one more tells that there is more
    }
    if (!m_bCut) {
        oCutter.finish(); // else the last line may be the begin of one
    }
    return bDone;
}

const FileParser::Line* FileParser::find(std::size_t a_iIndex, std::string_view a_sKey) const
{
    const auto it = std::ranges::find_if(m_lLines, [&](const Line& a_lLine) {
        return a_iIndex < a_lLine.size() && a_lLine[a_iIndex] == a_sKey;
    });
    return it == m_lLines.end() ? nullptr : &*it;
}

const std::string& FileParser::getToken(const Line& a_lLine, std::size_t a_iIndex)
{
    static const std::string sNone;
    return a_iIndex < a_lLine.size() ? a_lLine[a_iIndex] : sNone;
}

FileParser::Line splitLine(std::string_view a_sLine, char a_cSeparator)
{
    FileParser::Line lTokens;
    const auto oSkipSpaces = [&] {
        a_sLine.remove_prefix(std::min(a_sLine.find_first_not_of(' '), a_sLine.size()));
    };
    oSkipSpaces();
    while (!a_sLine.empty()) {
        const auto iEnd = a_sLine.find(a_cSeparator);
        lTokens.emplace_back(a_sLine.substr(0, iEnd));
        a_sLine.remove_prefix(iEnd == std::string_view::npos ? a_sLine.size() : iEnd + 1);
        oSkipSpaces();
    }
    lTokens.shrink_to_fit(); // there may be many lines
    return lTokens;
}

} // namespace zel
