// docs/protocol.md as the tests read it: its hex blocks and the rows of its tables.
#pragma once

#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>

namespace tests {

inline std::string protocolDocument()
{
    std::ifstream oFile(LEDGERD_DOCS "/protocol.md");
    return {std::istreambuf_iterator<char>(oFile), {}};
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

/// The rows of tables in which the pattern finds a number and then a name: the number of each name.
inline std::map<std::string, long> numbersOfNames(const char* a_pPattern)
{
    const std::string sDocument = protocolDocument();
    const std::regex oPattern(a_pPattern);
    std::map<std::string, long> mNumbers;
    for (std::sregex_iterator it(sDocument.begin(), sDocument.end(), oPattern); it != std::sregex_iterator();
         ++it) {
        mNumbers[(*it)[2]] = std::stol((*it)[1]);
    }
    return mNumbers;
}

} // namespace tests
