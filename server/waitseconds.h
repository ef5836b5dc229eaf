// The wait before a changed database is saved, as options and commands give it. Stateless; any thread.
#pragma once

#include <optional>
#include <string_view>

namespace zel::cfg {

constexpr unsigned long c_iLongestWaitSeconds = 2147483647;

/// The seconds that the whole text is. Nothing when it is no number or out of range: to take it for 0 would
/// turn the saving off.
std::optional<unsigned> parseWaitSeconds(std::string_view a_sText);

} // namespace zel::cfg
