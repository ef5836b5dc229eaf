// One line on its way to standard error or syslog, shared by the logger and the assertion hook.
//
// Any thread may write. A line is built on the stack and leaves in one piece, so lines never mix. A signal
// handler that interrupts the writing of a line on its own thread gets its line dropped: standard error may
// be a broken pipe whose SIGPIPE handler logs. Writing never waits for a reader: lines that find no room are
// counted, and their number is told when there is room again. Nothing here throws.
#pragma once

#include "zel/loglimit.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace zel {

/// The longest line in bytes, its newline included; what is over is cut at a character's end.
constexpr std::size_t c_iLogLineLimit = 1024;

/// The head of the logger's lines, "SQLiteWrap sqlitewrapper:120: ", for syslog with the module in brackets.
class LogHead
{
public:
    LogHead(bool a_bSyslog, std::string_view a_sModule, SourceTag a_oSource);
    std::string_view get() const { return {m_aText.data(), m_iSize}; }

private:
    std::array<char, 128> m_aText;
    std::size_t m_iSize;
};

/// Names the program for syslog, and its daemon's socket. Finds out whether the journal reads standard error.
void openLog(std::string_view a_sProgram, std::string_view a_sSocket);

/// Writes the line: to syslog with its priority, otherwise to standard error with the local time and the
/// level's name in front, or, where the journal of systemd reads it, with the priority as "<3>" instead.
/// Control characters and bytes that are not UTF-8 text are shown as \xNN. With a_bLimited, and in the work
/// for a client, it may be counted instead (see LogLimit).
void writeLogLine(bool a_bSyslog, const LogLine& a_oLine, bool a_bLimited);

/// Writes what was held back and can be written now; at the end of the process with a wait of half a second.
void flushLog(bool a_bSyslog);
void finishLog(bool a_bSyslog);

} // namespace zel
