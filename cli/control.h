// The daemon's FIFO, through which other processes steer its saving. One way only: there is no answer, what
// comes of a command shows in the daemon's log and in the dumps.
#pragma once

#include "cli/outcome.h"

#include <string>

namespace systema::cli {

/// Puts the text of a command into the FIFO. Never waits and never makes a file. 69: there is no FIFO of that
/// name, no daemon listens on it, or the one that does takes no more.
Outcome sendControl(const std::string& a_sFifo, const std::string& a_sText);

} // namespace systema::cli
