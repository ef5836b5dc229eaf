// The settings of a file that the device cannot do without, a line each.
//
// Functions, on the thread that calls them. Any bytes may be in the file; what is kept of it is bounded.
#pragma once

#include "zel/source.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel {

struct Setting
{
    std::string m_sName;
    std::string m_sValue;

    bool operator==(const Setting&) const = default;
};

/// A setting of a line, nothing when the line is none, an assertion when the line is wrong.
using SettingParser = std::optional<Setting> (*)(std::string_view a_sLine);

// What is beyond is left out, with an error in the log. A row of such settings fits into one answer.
constexpr std::size_t c_iMostSettings = 1024;
constexpr std::size_t c_iMostSettingsBytes = 256U << 10U;

/// The settings of the text in its order; a line ends at its first NUL. One without a name, or with that of
/// the key "Id", is left out. What is wrong with a line, but for its value, is logged as "SOURCE: line 3:
/// ..."; a line for which the parser asserts throws std::runtime_error with the same text.
std::vector<Setting> parseSettings(std::string_view a_sText, SettingParser a_pParse,
                                   const std::string& a_sSource);

/// The settings of the file. ResourceError with the expression and the caller's place when the file is not
/// there, is no regular file or cannot be read.
std::vector<Setting> readSettings(const char* a_pPath, SettingParser a_pParse, const char* a_pExpression,
                                  SourceTag a_oSource = here());

} // namespace zel
