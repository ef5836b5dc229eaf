// docs/protocol.md as the tests read it: its hex blocks and the rows of its tables.
#pragma once

#include "tests/unit/zel/tempdir.h"

#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

namespace tests {

inline std::string protocolDocument()
{
    return readFile(LEDGERD_DOCS "/protocol.md");
}

/// The bytes of the block that begins with ```hex and the name; what follows a # in a line is a remark.
inline std::string hexBlock(const std::string& a_sName)
{
    const std::string sFence = "```";
    const std::string sDocument = protocolDocument();
    const std::string sHead = sFence + "hex " + a_sName + "\n";
    const std::size_t iHead = sDocument.find(sHead);
    if (iHead == std::string::npos) {
        throw std::runtime_error("no hex block " + a_sName);
    }
    const std::size_t iBegin = iHead + sHead.size();
    std::istringstream oLines(sDocument.substr(iBegin, sDocument.find(sFence, iBegin) - iBegin));
    std::string sBytes;
    for (std::string sLine; std::getline(oLines, sLine);) {
        std::istringstream oBytes(sLine.substr(0, sLine.find('#')));
        for (std::string sByte; oBytes >> sByte;) {
            sBytes.push_back(static_cast<char>(std::stoi(sByte, nullptr, 16)));
        }
    }
    return sBytes;
}

/// Of all table rows that have a number in that column and a name in backquotes in the next: the number of
/// each name.
inline std::map<std::string, long> numbersOfNames(unsigned a_iColumn)
{
    std::map<std::string, long> mNumbers;
    std::istringstream oLines(protocolDocument());
    for (std::string sLine; std::getline(oLines, sLine);) {
        std::istringstream oCells(sLine);
        std::string sCell;
        for (unsigned i = 0; i <= a_iColumn + 1; ++i) { // what stands before the first | is no cell
            std::getline(oCells, sCell, '|');
        }
        long iNumber = 0;
        std::string sName;
        if (std::istringstream(sCell) >> iNumber && std::getline(oCells, sCell, '|') &&
            std::istringstream(sCell) >> sName && sName.front() == '`' && sName.back() == '`') {
            mNumbers[sName.substr(1, sName.size() - 2)] = iNumber;
        }
    }
    return mNumbers;
}

} // namespace tests
