// Writing to a standard descriptor that may be a pipe which nobody reads. Stateless; any thread.
#pragma once

#include <string_view>

namespace zel {

/// Writes at once or not at all: false when the descriptor is full, broken or closed, so that a reader that
/// has stopped reading never stops the process, and one that has gone raises no SIGPIPE. The text has at most
/// PIPE_BUF bytes, which a pipe that is ready takes as a whole.
bool writeIfReady(int a_iFd, std::string_view a_sText);

} // namespace zel
