// The process logger: one line per event, from a named module, filtered by the module's trace level.
//
// A trace level is a mask of ELogBit. Foreground lines go to standard error:
//     2026-11-22 21:30:00.123 error   SQLiteWrap sqlitewrapper:120: text
// to the journal of systemd as "<3>SQLiteWrap sqlitewrapper:120: text", without a second time, and background
// lines to syslog: "[SQLiteWrap] sqlitewrapper:120: text". Every line is written whole and is
// one line: a single newline at the end of the text is dropped, other control characters and bytes that are
// not UTF-8 text are shown as \xNN, and a line ends at 1024 bytes. The functions may be called from any
// thread and from a signal handler, whose line is dropped when it interrupts the writing of another. They
// keep errno, never throw and never wait: where nobody reads the log, lines are lost, and their number is
// logged when somebody does. In the work for a client (zel/logclient.h) errors, warnings, information and
// status are limited to one line of a kind in a second, and the number of the others.
#pragma once

#include "zel/source.h"

namespace zel {

/// The bits of a trace level. 113 is status information, errors, warnings and information; 1023 is all.
enum ELogBit : unsigned
{
    c_iLogStatus = 1,
    c_iLogTrace = 2,
    c_iLogDebug = 4,
    c_iLogError = 16,
    c_iLogWarning = 32,
    c_iLogInfo = 64,
};

constexpr int c_iTraceLevelNormal = 113;
constexpr int c_iTraceLevelVerbose = 1023;

} // namespace zel

/// Sets up the process logger with the program's name; standard error until ZEL_Sysloglevel_set(true).
/// Called once, before other threads log. At the end of the process the last lines have half a second to get
/// to a log daemon that is slow.
void ZEL_Sysloglevel_construct2(const char* a_pProgram);

/// Writes what was held back and can be written now: called again and again while the process runs.
void ZEL_Sysloglevel_flush();

/// Returns the handle of the module of that name, made with the default trace level when it is new. There is
/// room for 256 modules; every further name gets the handle, and so the name and level, of the last of them.
/// Names are told apart by their first 47 bytes.
int ZEL_Sysloglevel_registerModul(const char* a_pModule);

/// Sets the trace level of every module registered from now on (113 until it is called).
void ZEL_Sysloglevel_setDefaultTracelevel(int a_iLevel);

/// Sets the trace level of a module; a name that is not registered yet is registered with it.
void ZEL_Sysloglevel_changeTracelevel(const char* a_pModule, int a_iLevel);

/// Returns the trace level of a module, the default level for a name that is not registered.
int ZEL_Sysloglevel_getTracelevel(const char* a_pModule);

/// True sends the lines to syslog (facility daemon), false to standard error.
void ZEL_Sysloglevel_set(bool a_bBackground);

// One line at the level of the function's name.
void ZEL_Sysloglevel_error(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
    __attribute__((format(printf, 3, 4)));
void ZEL_Sysloglevel_warning(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
    __attribute__((format(printf, 3, 4)));
void ZEL_Sysloglevel_info(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
    __attribute__((format(printf, 3, 4)));
void ZEL_Sysloglevel_status(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
    __attribute__((format(printf, 3, 4)));
void ZEL_Sysloglevel_debug(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
    __attribute__((format(printf, 3, 4)));
void ZEL_Sysloglevel_trace(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
    __attribute__((format(printf, 3, 4)));
