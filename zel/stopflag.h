// The process's wish to end: set by the handler of the termination signals, read by whatever takes long.
//
// One flag for the process, never taken back but by tests. Any thread and any signal handler; nothing fails.
#pragma once

namespace zel {

/// Asks the process to end. May be called by a signal handler.
void requestStop();
/// True once a stop was asked for.
bool isStopRequested();
/// Takes the wish back, for tests that go on after a stop.
void clearStop();

} // namespace zel
