// Text of files and tools, line by line, in bounded memory.
//
// Any thread. The text may hold any bytes; nothing throws but std::bad_alloc, and what a receiver throws.
#pragma once

#include "zel/uniquefd.h"

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace zel {

/// Cuts text into lines as fgets does with a buffer: a line comes without its newline and ends at its first
/// NUL; one that does not fit comes in pieces, each a line of its own.
class LineCutter
{
public:
    using Receiver = std::function<void(std::string_view)>;

    /// A line is at most a_iBufferSize - 1 bytes long, its newline counted; the size must be 2 at least. The
    /// receiver gets every line.
    LineCutter(std::size_t a_iBufferSize, Receiver a_oReceiver);

    /// Tells of the lines that end in this text.
    void add(std::string_view a_sText);
    /// Tells of the last line, if it has no newline.
    void finish();

private:
    void tell();

    const std::size_t m_iLongest;
    const Receiver m_oReceiver;
    std::string m_sBegun;
};

/// Whether the last name of a path may be a symbolic link.
enum class ELinks
{
    Followed,
    Refused // for a directory where others can put one
};

/// A file that is read piece by piece. Only a regular one is opened: another might keep its reader waiting,
/// never end, or act on being opened.
class TextFile
{
public:
    TextFile(const std::string& a_sPath, ELinks a_eLinks);

    /// False when there is no such regular file that can be opened.
    bool isOpen() const { return bool(m_oFile); }
    /// The next piece, which lives until the next call; empty at the end, nothing when it cannot be read.
    std::optional<std::string_view> read(std::size_t a_iMostBytes);

private:
    const UniqueFd m_oFile;
    std::array<char, 16384> m_aPiece;
};

/// Tells the text of a file, piece by piece; more than a_iMostBytes are not read. False when it cannot be
/// opened or read; text from before was told.
bool readText(const std::string& a_sPath, std::size_t a_iMostBytes, ELinks a_eLinks,
              const std::function<void(std::string_view)>& a_oReceiver);

/// The same text as a whole; nothing when it cannot be read.
std::optional<std::string> readFile(const std::string& a_sPath, std::size_t a_iMostBytes);
/// Of that the first line, up to its newline or first NUL.
std::optional<std::string> readFirstLine(const std::string& a_sPath, std::size_t a_iMostBytes);

/// Tells the lines of a file in the same way.
bool readLines(const std::string& a_sPath, std::size_t a_iBufferSize, std::size_t a_iMostBytes,
               LineCutter::Receiver a_oReceiver);

} // namespace zel
