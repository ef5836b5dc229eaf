// The program ledger-netsim.
#pragma once

namespace zel::netsim {

/// Reads the command line and does what it says. The exit status: 0, 64 wrong usage, 69 no bus or the bus has
/// gone, 1 another failure.
int run(int a_iCount, char** a_pArguments);

} // namespace zel::netsim
