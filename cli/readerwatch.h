// Ends the program, as its next output would, once nobody can read that any more: the reader of a pipe or a
// socket has gone, or the terminal was closed. A file always has a reader.
//
// Lives on the stack of a command while that only reads or waits, never around a write to the daemon, which
// is made whoever reads what is said of it. Has a thread, which does nothing but look at the descriptor.
#pragma once

#include "zel/uniquefd.h"

#include <chrono>
#include <thread>

namespace systema::cli {

class ReaderWatch
{
public:
    /// Watches the reader of a descriptor from the given time on; -1 for no descriptor. The process gets
    /// SIGPIPE when the reader has gone.
    explicit ReaderWatch(int a_iOutput, std::chrono::milliseconds a_oAfter = {});
    ~ReaderWatch();
    ReaderWatch(const ReaderWatch&) = delete;
    ReaderWatch& operator=(const ReaderWatch&) = delete;

private:
    void watch(int a_iOutput, std::chrono::milliseconds a_oAfter) const;

    zel::UniqueFd m_oEnd; // readable once the thread is to end
    std::thread m_oThread;
};

/// Begins the transaction of a command whose output tells what became of it. What has to wait for long is
/// given up, with nothing written, when the reader goes; what need not wait is done in any case.
template<typename Transaction>
auto beginForReader(Transaction& a_oTransaction, std::chrono::milliseconds a_oWait, int a_iOutput)
{
    const ReaderWatch oReader(a_iOutput, std::chrono::seconds(1));
    return a_oTransaction.begin(a_oWait);
}

} // namespace systema::cli
