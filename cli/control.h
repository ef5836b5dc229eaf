// The daemon's FIFO, through which other processes steer its saving. One way only: it shows whether a
// command was read; what comes of it shows in the daemon's log and in the dumps.
#pragma once

#include "cli/outcome.h"

#include <chrono>
#include <string>

namespace systema::cli {

/// Puts the text of a command into the FIFO, and with a wait lets the daemon read it. Never makes a file. 69:
/// there is no FIFO of that name, no daemon listens on it, or the one that does takes no more, or has not
/// read the command when the wait is over; it does when it can.
Outcome sendControl(const std::string& a_sFifo, const std::string& a_sText,
                    std::chrono::milliseconds a_oWait = {});

} // namespace systema::cli
