#include "cli/input.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace systema::cli {

InputFile::InputFile(std::istream& a_oStandardInput, const std::string& a_sName)
    : m_sShown(a_sName.empty() || a_sName == "-" ? "the input" : a_sName),
      m_oStream(m_sShown == a_sName ? m_oFile : a_oStandardInput)
{
    if (&m_oStream == &m_oFile) {
        m_oFile.open(a_sName);
        std::error_code oIgnored;
        if (!m_oFile) {
            m_sError = "cannot open " + a_sName + ": " + std::generic_category().message(errno);
        } else if (std::filesystem::is_directory(a_sName, oIgnored)) { // which only a read would tell
            m_sError = "cannot read " + a_sName + ": " + std::generic_category().message(EISDIR);
        }
    }
}

std::string InputFile::readAll()
{
    std::string sAll;
    std::array<char, 65536> aBlock;
    do { // read() marks a broken stream, where an iterator over its buffer throws
        m_oStream.read(aBlock.data(), aBlock.size());
        sAll.append(aBlock.data(), static_cast<std::size_t>(m_oStream.gcount()));
    } while (m_oStream);
    return sAll;
}

} // namespace systema::cli
