// Opening a connection to the bus, which libdbus does without any time limit: connect() waits when the bus
// has stopped accepting, and registering waits when it has stopped answering.
//
// Main thread only. Failures throw std::runtime_error.
#pragma once

#include <chrono>
#include <string>

namespace zel {

/// Interrupts the system call that this thread waits in, from the given time on and until its end. The signal
/// is SIGALRM, which every other thread must have blocked.
class Interruption
{
public:
    explicit Interruption(std::chrono::steady_clock::time_point a_oFrom);
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
};

/// Returns when the bus has taken a connection, has authenticated it and has answered it. The connection is
/// closed again, and nothing of it is left; the binding would leak each one that it has opened.
void probeBus(const std::string& a_sAddress, std::chrono::steady_clock::time_point a_oDeadline);

} // namespace zel
