// Ends the program with SIGPIPE as soon as nobody can read its output any more: the reader of a pipe or a
// socket has gone, or the terminal was closed. A file always has a reader.
//
// Lives on the stack of a command while that only reads or waits, never around a write to the daemon: a write
// is made whether or not its result can be read. Has a thread, which only polls the descriptor.
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

/// Begins a transaction. When that takes longer than a second and the reader of the output goes meanwhile,
/// the program ends with nothing written; a transaction that begins at once goes on without a reader.
template<typename Transaction>
auto beginForReader(Transaction& a_oTransaction, std::chrono::milliseconds a_oWait, int a_iOutput)
{
    const ReaderWatch oReader(a_iOutput, std::chrono::seconds(1));
    return a_oTransaction.begin(a_oWait);
}

} // namespace systema::cli
