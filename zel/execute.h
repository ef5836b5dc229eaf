// Device commands, run through the shell.
#pragma once

#include <cstddef>

constexpr int c_iExecuteCeilingSeconds = 60;

/// Result of ZEL_Execute_Command when the command was killed at its ceiling.
constexpr int c_iExecuteTimedOut = 124;

/// Runs a command line with /bin/sh and writes its standard output and standard error, cut at the buffer's
/// size and always terminated, into the buffer; what does not fit is read and dropped.
/// Returns 0 on success, the exit status of the command, 128 plus the signal that ended it, 127 when it
/// could not be found or started, or c_iExecuteTimedOut when it ran for more than a_iCeilingSeconds
/// (0: no ceiling) and was killed together with every process of its group. The child is always reaped,
/// inherits no descriptor but the three standard ones, has default signal dispositions and an empty signal
/// mask. A background child that keeps the output open does not make the call wait once the command ended.
int ZEL_Execute_Command(const char* a_pCommand, char* a_pOutput, std::size_t a_iSize,
                        int a_iCeilingSeconds = c_iExecuteCeilingSeconds);
