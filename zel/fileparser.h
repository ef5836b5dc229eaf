// Reads text into lines of tokens: of a file, or of what a command writes.
//
// One thread. Any bytes are text. What comes after the first c_iMostBytes, c_iMostLines or c_iMostTokens is
// left out.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zel {

class FileParser
{
public:
    enum class EMode
    {
        File,      // the source is a path
        PlainFile, // the same, and its last name no symbolic link
        Command    // the source is a command line for /bin/sh
    };
    using Line = std::vector<std::string>;
    using Receiver = std::function<void(Line)>;

    /// A longer line is read as several.
    static constexpr std::size_t c_iLineBufferSize = 512;
    static constexpr std::size_t c_iMostLines = 131072;
    static constexpr std::size_t c_iMostTokens = 1U << 20U;
    static constexpr std::size_t c_iMostBytes = 4U << 20U;
    static constexpr std::chrono::milliseconds c_oCommandCeiling{400};

    /// May take fewer bytes of a source than c_iMostBytes.
    explicit FileParser(std::size_t a_iMostBytes = c_iMostBytes) : m_iMostBytes(a_iMostBytes) {}

    /// Replaces the lines with those of the source that contain the filter (all do when it is empty). False
    /// when the file cannot be read, or the command ends with another status than 0 or takes longer than its
    /// ceiling; there may be lines then.
    bool parse(EMode a_eMode, const std::string& a_sSource, std::string_view a_sFilter, char a_cSeparator);
    /// The same, but the receiver gets the lines, one by one, and none is kept.
    bool parse(EMode a_eMode, const std::string& a_sSource, std::string_view a_sFilter, char a_cSeparator,
               const Receiver& a_oReceiver);

    /// In the order of the source, a line without text as one without tokens.
    const std::vector<Line>& getLines() const { return m_lLines; }
    /// True when the last source had lines that were left out at the end.
    bool isCut() const { return m_bCut; }
    /// The bytes that were taken of it, whether their lines have the filter or not.
    std::size_t getByteCount() const { return m_iBytes; }
    /// The first line whose token at the index equals the key, null when there is none.
    const Line* find(std::size_t a_iIndex, std::string_view a_sKey) const;

    /// The token at the index, an empty text when the line has none there.
    static const std::string& getToken(const Line& a_lLine, std::size_t a_iIndex);

private:
    const std::size_t m_iMostBytes;
    std::vector<Line> m_lLines;
    std::size_t m_iBytes = 0;
    bool m_bCut = false;
};

/// Cuts a line at each separator, skips spaces at its begin and after a separator, and leaves out an empty
/// last token.
FileParser::Line splitLine(std::string_view a_sLine, char a_cSeparator);

} // namespace zel
