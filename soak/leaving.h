// The ways in which a client leaves, in each state that a connection can be in but a transaction.
#pragma once

#include "soak/session.h"

#include <cstddef>

namespace soak {

/// Leaves over a session that is connected. That the daemon does not close what it has to is a fault. The
/// first turns go through all ways, without one it is left to chance.
void leave(Session& a_oSession, std::size_t a_iTurn = std::string::npos);

} // namespace soak
