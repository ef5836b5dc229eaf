// Device commands, run through the shell.
//
// Any thread; the caller waits for the command. The process must not ignore SIGCHLD, for then the status of
// a command is lost and the result 127. Nothing throws but executeCommand, std::bad_alloc; each failure is a
// result other than 0.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

constexpr std::chrono::milliseconds c_oExecuteCeiling = std::chrono::seconds(60);

/// Result of ZEL_Execute_Command when the command was killed at its ceiling.
constexpr int c_iExecuteTimedOut = 124;
/// The same when it could not be found or started.
constexpr int c_iExecuteFailed = 127;

/// Runs a command line with /bin/sh and writes its standard output and standard error, cut at the buffer's
/// size and always terminated, into the buffer; what does not fit is read and dropped, all of it when the
/// buffer is null or its size 0.
/// Returns 0 on success, the exit status of the command, 128 plus the signal that ended it,
/// c_iExecuteFailed, or c_iExecuteTimedOut when it ran for more than a_oCeiling
/// (0: no ceiling) and was killed together with every process of its group; what it wrote until then is kept.
/// The child is always reaped; one that cannot be killed, since it waits in the kernel, is left behind after
/// 50 ms and reaped by a later call. It reads from /dev/null, inherits no other descriptor, and has a process
/// group of its own, default signal dispositions and an empty signal mask. A background child of the command
/// does not make the call wait once the command ended; it lives on, but what it writes later goes nowhere.
/// May be called from several threads at once and needs little stack.
int ZEL_Execute_Command(const char* a_pCommand, char* a_pOutput, std::size_t a_iSize,
                        std::chrono::milliseconds a_oCeiling = c_oExecuteCeiling);

namespace zel {

/// Does the same and hands all that the command writes to the function, piece by piece while it runs.
int executeCommand(const std::string& a_sCommand, const std::function<void(std::string_view)>& a_oOutput,
                   std::chrono::milliseconds a_oCeiling = c_oExecuteCeiling);

} // namespace zel
