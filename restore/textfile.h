// A file with a text of SQL, read from front to back.
//
// Owned by its reader, used on one thread. Every failure is a std::runtime_error with what is wrong in one
// line without the file's name: no regular file, one that cannot be read or is cut meanwhile, or a NUL byte.
#pragma once

#include "restore/regularfile.h"
#include "zel/uniquefd.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace zel::cfg {

class TextFile
{
public:
    explicit TextFile(const std::string& a_sFile);

    std::uint64_t size() const { return m_iSize; }
    /// The bytes that are not read yet, but for those that cutEnd() has taken off.
    std::uint64_t left() const { return m_iEnd - m_iRead; }
    /// Appends the next bytes, as many as are left or as are asked for.
    void read(std::string& a_sTo, std::size_t a_iMost);
    /// True when the text, as far as it is not read yet, ends with this, which is then taken off.
    bool cutEnd(std::string_view a_sEnd);

private:
    explicit TextFile(RegularFile a_oFile);

    UniqueFd m_oFile;
    std::uint64_t m_iSize = 0;
    std::uint64_t m_iRead = 0;
    std::uint64_t m_iEnd = 0;
};

} // namespace zel::cfg
