// A file whose first line is a setting, rewritten in place: it may be a link into another file system.
//
// A write that fails leaves the old line, whatever fails: the new one is written over it, and only then what
// is behind it is cut off. Links are followed. In a directory where anyone may put files (/tmp) a file or
// link of another user than the directory's owner or this process's user is refused: such a link may lead to
// any file of the system. Stateless but for the path; any thread. Failures throw std::system_error.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace zel {

class LineFile
{
public:
    explicit LineFile(std::string a_sPath) : m_sPath(std::move(a_sPath)) {}

    /// The first line without its newline. A file that has none within so many bytes fails.
    std::string read(std::size_t a_iMostBytes) const;
    /// Makes the line, and a newline, all of the file. A file that is not there is made, readable by all.
    void write(std::string_view a_sLine) const;

private:
    const std::string m_sPath;
};

} // namespace zel
