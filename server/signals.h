// The signals of the process: which of them end it, and with which status.
//
// State of the process, set up by main before any thread is made. The handlers set flags only, but for that
// of SIGPIPE, which logs.
#pragma once

namespace zel::cfg {

/// SIGINT, SIGTERM and SIGQUIT request the stop. Signals that have no meaning here do so, too, but end the
/// process as they do by default once all is saved and removed; what our parent has us ignore stays ignored.
/// SIGALRM is reserved for the wait for the bus. SIGPIPE is logged for the module.
void installSignalHandlers(int a_iModule);

/// The signal without a meaning that ends the process, 0 for none.
int getEndSignal();

/// Ends the process by that signal, so that whoever waits for it sees the signal. Returns when there is none.
void raiseEndSignal();

} // namespace zel::cfg
