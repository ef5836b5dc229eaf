// One line on its way to standard error or syslog, shared by the logger and the assertion hook.
//
// Any thread may write. A line is built on the stack and leaves in one piece, so lines never mix. A signal
// handler that interrupts the writing of a line on its own thread gets its line dropped: standard error may
// be a broken pipe whose SIGPIPE handler logs. A line that cannot be written is lost; nothing here throws.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace zel {

/// The longest line in bytes, its newline included; what is over is cut at a character's end.
constexpr std::size_t c_iLogLineLimit = 1024;

/// Writes the parts as one line: to syslog with that priority (and facility), otherwise to standard error
/// with the local time and the level's name in front. Control characters and bytes that are not UTF-8 text
/// are shown as \xNN.
void writeLogLine(bool a_bSyslog, int a_iPriority, std::string_view a_sLevel,
                  std::initializer_list<std::string_view> a_lParts);

} // namespace zel
