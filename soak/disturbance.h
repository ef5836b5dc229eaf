// What goes on around the daemon while it serves: commands over its FIFO, and events of the network.
//
// The first two are a thread each while the run lasts; what cannot be done is a fault of the run.
#pragma once

#include "soak/random.h"
#include "soak/world.h"

#include <string>

namespace soak {

/// Has the daemon dump, save, lock and tune, until the run is over.
void operate(World& a_oWorld, Random a_oRandom);

/// Sets up devices and changes them, and lets the network services tell of changes, until the run is over.
/// The services are ledger-netsim's, which reads its commands from the FIFO given.
void changeNetwork(World& a_oWorld, Random a_oRandom, const std::string& a_sServices);

/// Once the run is over: sets the daemon to its defaults and has it save.
void settle(World& a_oWorld);

} // namespace soak
