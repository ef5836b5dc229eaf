// Arbitrary bytes as a text file: cut into the lines that the C library's reader gives, and served as a file
// table and as the accounts of the system with a text in every cell.
#include "fuzz/require.h"
#include "status/fileplugin.h"
#include "status/passwd.h"
#include "tests/unit/device/systemroot.h"
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

/// The input as a file, in memory, and the system's accounts at the same time.
class Input
{
public:
    Input()
    {
        std::filesystem::create_directory(m_oRoot.path("/etc"));
        std::filesystem::create_symlink("/proc/self/fd/" + std::to_string(m_oFd.get()), m_sPath);
    }

    void write(const unsigned char* a_pBytes, std::size_t a_iSize) const
    {
        require(::ftruncate(m_oFd.get(), 0) == 0);
        require(::pwrite(m_oFd.get(), a_pBytes, a_iSize, 0) == static_cast<ssize_t>(a_iSize));
    }
    const std::string& path() const { return m_sPath; }

private:
    const SystemRoot m_oRoot;
    const std::string m_sPath = m_oRoot.path("/etc/passwd");
    const zel::UniqueFd m_oFd{::memfd_create("input", MFD_CLOEXEC)};
};

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
    oFile.settle();
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

void checkAccounts()
{
    zel::Passwd oPasswd([] { return 1000; });
    systema::ValueList lRow;
    unsigned iCount = 0;
    require(oPasswd.getRowCount("Passwd", iCount) == EResultCode::Success);
    for (unsigned iRow = 0; iRow < iCount; ++iRow) {
        require(oPasswd.getRow("Passwd", lRow, iRow, {}) == EResultCode::Success);
    }
    require(oPasswd.getRow("Passwd", lRow, iCount, {}) == EResultCode::NoRow);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    static const Input oInput;
    oInput.write(a_pBytes, a_iSize);
    checkLines(oInput.path(), ' ');
    checkLines(oInput.path(), ':');
    checkTable(oInput.path());
    checkAccounts();
    return 0;
}
