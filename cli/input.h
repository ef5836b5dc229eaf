// The file that a command reads: standard input when no name, or "-", is given.
#pragma once

#include <fstream>
#include <istream>
#include <string>

namespace systema::cli {

class InputFile
{
public:
    InputFile(std::istream& a_oStandardInput, const std::string& a_sName);

    std::istream& stream() { return m_oStream; }
    /// Its name in messages.
    const std::string& shownName() const { return m_sShown; }
    /// The whole of it.
    std::string readAll();
    /// False when it could not be opened, or broke while it was read; error() then says why.
    bool ok() const { return m_sError.empty() && !m_oStream.bad(); }
    std::string error() const { return m_sError.empty() ? "cannot read " + m_sShown : m_sError; }

private:
    const std::string m_sShown;
    std::ifstream m_oFile;
    std::istream& m_oStream;
    std::string m_sError;
};

} // namespace systema::cli
