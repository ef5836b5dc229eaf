#include "restore/textfile.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace zel::cfg {

namespace {

/// Appends bytes of the file from a position on.
void readAt(int a_iFile, std::uint64_t a_iFrom, std::size_t a_iCount, std::string& a_sTo)
{
    std::size_t iFilled = a_sTo.size();
    a_sTo.resize(iFilled + a_iCount);
    while (iFilled < a_sTo.size()) {
        const ssize_t iPart =
            ::pread(a_iFile, a_sTo.data() + iFilled, a_sTo.size() - iFilled, static_cast<off_t>(a_iFrom));
        if (iPart < 0) {
            throwSystemError();
        }
        if (iPart == 0) {
            throw std::runtime_error("was cut while it was read");
        }
        iFilled += static_cast<std::size_t>(iPart);
        a_iFrom += static_cast<std::uint64_t>(iPart);
    }
}

} // namespace

TextFile::TextFile(const std::string& a_sFile) : TextFile(openRegularFile(a_sFile)) {}

TextFile::TextFile(RegularFile a_oFile)
    : m_oFile(std::move(a_oFile.m_oFile)),
      m_iSize(a_oFile.m_iSize),
      m_iEnd(a_oFile.m_iSize)
{
}

void TextFile::read(std::string& a_sTo, std::size_t a_iMost)
{
    const auto iCount = static_cast<std::size_t>(std::min<std::uint64_t>(a_iMost, left()));
    const std::size_t iBefore = a_sTo.size();
    readAt(m_oFile.get(), m_iRead, iCount, a_sTo);
    if (a_sTo.find('\0', iBefore) != std::string::npos) {
        throw std::runtime_error("holds a NUL byte");
    }
    m_iRead += iCount;
}

bool TextFile::cutEnd(std::string_view a_sEnd)
{
    if (left() < a_sEnd.size()) {
        return false;
    }
    std::string sEnd;
    readAt(m_oFile.get(), m_iEnd - a_sEnd.size(), a_sEnd.size(), sEnd);
    if (sEnd != a_sEnd) {
        return false;
    }
    m_iEnd -= a_sEnd.size();
    return true;
}

} // namespace zel::cfg
