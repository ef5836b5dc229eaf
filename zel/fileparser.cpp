#include "zel/fileparser.h"

#include "zel/execute.h"
#include "zel/lines.h"

#include <algorithm>

namespace zel {

bool FileParser::parse(EMode a_eMode, const std::string& a_sSource, std::string_view a_sFilter,
                       char a_cSeparator)
{
    m_lLines.clear();
    m_bCut = false;
    std::size_t iBytes = 0;
    const auto oAdd = [&](std::string_view a_sLine) {
        if (a_sLine.find(a_sFilter) == std::string_view::npos) {
            return;
        }
        iBytes += a_sLine.size() + 1;
        m_bCut = m_bCut || m_lLines.size() == c_iMostLines || iBytes > c_iMostBytes;
        if (!m_bCut) {
            m_lLines.push_back(splitLine(a_sLine, a_cSeparator));
        }
    };
    if (a_eMode == EMode::File) {
        // So much more that the last line, which may have been cut in two, is one too many.
        return readLines(a_sSource, c_iLineBufferSize, c_iMostBytes + c_iLineBufferSize, oAdd);
    }
    LineCutter oCutter(c_iLineBufferSize, oAdd);
    const int iResult = executeCommand(
        a_sSource, [&](std::string_view a_sText) { oCutter.add(a_sText); }, c_iCommandCeilingSeconds);
    oCutter.finish();
    return iResult == 0;
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
    return lTokens;
}

} // namespace zel
