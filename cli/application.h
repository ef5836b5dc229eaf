// The program between its command line and its exit status: parse, connect, run, report.
#pragma once

#include "cli/format.h"

#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace systema::cli {

/// Runs one command line (without the program's name) and returns the exit status: 0, the result code 1 to
/// 10, 64 for wrong usage or 69 when the daemon cannot be reached. Failures are told on the error stream;
/// there, a progress bar is shown when a_bTerminal says that it is a terminal.
int run(std::vector<std::string> a_lWords, std::istream& a_oInput, std::ostream& a_oOutput,
        std::ostream& a_oErrors, bool a_bTerminal, EReader a_eReader = EReader::Program);

} // namespace systema::cli
