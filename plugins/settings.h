// The settings of a file that the device cannot do without.
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
};

/// A setting of a line, nothing when the line is none. It may throw.
using SettingParser = std::optional<Setting> (*)(std::string_view a_sLine);

/// Further settings are left out, with an error in the log.
constexpr std::size_t c_iMostSettings = 1024;
/// What a line has beyond these bytes is left out, with the same error. A line ends at its first NUL.
constexpr std::size_t c_iLongestLine = 4095;

/// The settings in the order of the file. ResourceError with the expression and the caller's place when the
/// file is not there, is no regular file or cannot be read.
std::vector<Setting> readSettings(const char* a_pPath, SettingParser a_pParse, const char* a_pExpression,
                                  SourceTag a_oSource = here());

} // namespace zel
