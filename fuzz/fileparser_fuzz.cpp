// Arbitrary bytes as a text file: cut into the lines that the C library's reader gives, and served as a file
// table with a text in every cell.
#include "fuzz/require.h"
#include "status/fileplugin.h"
#include "zel/fileparser.h"
#include "zel/uniquefd.h"

#include <array>
#include <cstdio>
#include <memory>
#include <sys/mman.h>
#include <unistd.h>

using systema::EResultCode;
using zel::FileParser;

namespace {

FileParser::Line splitByHand(std::string_view a_sLine, char a_cSeparator)
{
    FileParser::Line lTokens;
    std::string sToken;
    bool bStarted = false;
    for (const char c : a_sLine) {
        if (c == a_cSeparator && (bStarted || c != ' ')) {
            lTokens.push_back(sToken);
            sToken.clear();
            bStarted = false;
        } else if (bStarted || c != ' ') {
            sToken += c;
            bStarted = true;
        }
    }
    if (bStarted) {
        lTokens.push_back(sToken);
    }
    return lTokens;
}

void checkLines(const std::string& a_sFile, char a_cSeparator)
{
    FileParser oParser;
    require(oParser.parse(FileParser::EMode::File, a_sFile, "", a_cSeparator));
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pFile(std::fopen(a_sFile.c_str(), "r"),
                                                                std::fclose);
    std::array<char, FileParser::c_iLineBufferSize> aLine;
    for (const auto& lTokens : oParser.getLines()) {
        require(std::fgets(aLine.data(), aLine.size(), pFile.get()) != nullptr);
        const std::string_view sLine = aLine.data();
        require(lTokens == splitByHand(sLine.substr(0, sLine.find('\n')), a_cSeparator));
    }
    require(std::fgets(aLine.data(), aLine.size(), pFile.get()) == nullptr);
}

void checkTable(const std::string& a_sFile)
{
    auto oFile = zel::FilePlugin::createFile(a_sFile, "");
    require(oFile.read() == (oFile.getLineCount() > 0));
    oFile.markClean();
    require(!oFile.read());
    systema::ColumnList lColumns;
    oFile.getSchema(lColumns);
    for (unsigned iLine = 0; iLine < oFile.getLineCount(); ++iLine) {
        systema::ValueList lRow;
        require(oFile.toValueList(lRow, *oFile.getLine(iLine), {}) == EResultCode::Success);
        require(lRow.size() == lColumns.size());
        require(oFile.getLine("Id", std::to_string(iLine + 1)) == oFile.getLine(iLine));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    static const zel::UniqueFd oFd(::memfd_create("input", MFD_CLOEXEC));
    const std::string sPath = "/proc/self/fd/" + std::to_string(oFd.get());
    require(::ftruncate(oFd.get(), 0) == 0);
    require(::pwrite(oFd.get(), a_pBytes, a_iSize, 0) == static_cast<ssize_t>(a_iSize));
    checkLines(sPath, ' ');
    checkLines(sPath, ':');
    checkTable(sPath);
    return 0;
}
