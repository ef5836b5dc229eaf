// What becomes of the process when memory cannot be had: it gives back what it can have again, and goes on.
//
// watchMemory keeps a reserve of address space, which costs no memory. The first allocation with new that
// fails gets it, so that what is under way comes to its end; those that fail after it throw std::bad_alloc.
// Whoever does work in rounds asks isMemoryShort between them, and recovers.
#pragma once

#include <cstddef>

namespace zel {

/// An owner of memory that can be had again. Registered for as long as it lives; main thread only.
class Cache
{
public:
    Cache();
    virtual ~Cache();
    Cache(const Cache&) = delete;
    Cache& operator=(const Cache&) = delete;

    /// Gives the memory back. Called when nobody uses what is kept; must not throw.
    virtual void dropCache() = 0;

private:
    Cache* m_pNext;
    Cache* m_pPrevious = nullptr;

    friend void recoverMemory();
};

/// Address space of the reserve: more than the allocator asks of the system at once.
constexpr std::size_t c_iMemoryReserve = 2 * 1024 * 1024;

/// From now on failing allocations are counted, and the first of them gets the reserve. Called once.
void watchMemory();

/// Counts an allocation that failed in a library. From any thread.
void noteMemoryFailure();

/// How many allocations have failed so far.
unsigned long countMemoryFailures();

/// True when an allocation has failed since the last recovery, or the reserve is still missing.
bool isMemoryShort();

/// Drops every cache, gives free memory back to the system, and makes the reserve anew. Main thread only.
void recoverMemory();

} // namespace zel
