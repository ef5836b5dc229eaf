#include "zel/memory.h"

#include <atomic>
#include <malloc.h>
#include <new>
#include <sys/mman.h>

namespace zel {

namespace {

constinit Cache* s_pFirst = nullptr;
constinit std::atomic<unsigned long> s_iFailures{0};
constinit std::atomic<unsigned long> s_iRecovered{0}; // failures before the last recovery
constinit std::atomic<void*> s_pReserve{nullptr};
constinit std::atomic<bool> s_bWatching{false};

void makeReserve()
{
    void* pReserve =
        // cppcheck-suppress invalidFunctionArg ; no file is mapped
        ::mmap(nullptr, c_iMemoryReserve, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    s_pReserve = pReserve == MAP_FAILED ? nullptr : pReserve;
    // cppcheck-suppress memleak ; the reserve is kept
}

void onFailure()
{
    noteMemoryFailure();
    void* pReserve = s_pReserve.exchange(nullptr);
    if (pReserve == nullptr) {
        throw std::bad_alloc();
    }
    ::munmap(pReserve, c_iMemoryReserve); // and new tries again
}

} // namespace

Cache::Cache() : m_pNext(s_pFirst)
{
    if (m_pNext != nullptr) {
        m_pNext->m_pPrevious = this;
    }
    s_pFirst = this;
}

Cache::~Cache()
{
    (m_pPrevious != nullptr ? m_pPrevious->m_pNext : s_pFirst) = m_pNext;
    if (m_pNext != nullptr) {
        m_pNext->m_pPrevious = m_pPrevious;
    }
}

void watchMemory()
{
    makeReserve();
    s_bWatching = true;
    std::set_new_handler(&onFailure);
}

void noteMemoryFailure()
{
    ++s_iFailures;
}

unsigned long countMemoryFailures()
{
    return s_iFailures;
}

bool isMemoryShort()
{
    return s_iFailures != s_iRecovered || (s_bWatching && s_pReserve == nullptr);
}

void recoverMemory()
{
    s_iRecovered = s_iFailures.load();
    for (Cache* pCache = s_pFirst; pCache != nullptr; pCache = pCache->m_pNext) {
        pCache->dropCache();
    }
    ::malloc_trim(0);
    if (s_bWatching && s_pReserve == nullptr) {
        makeReserve();
    }
}

} // namespace zel
