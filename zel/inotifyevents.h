// Taking apart what is read of an inotify descriptor.
#pragma once

#include <sys/inotify.h>
#include <sys/types.h>

namespace zel {

/// Calls the function with each event in the buffer, which is aligned as one, up to the size that was read.
template<class Function>
void forEachInotifyEvent(const char* a_pBuffer, ssize_t a_iSize, Function a_oFunction)
{
    for (const char* pNext = a_pBuffer; pNext < a_pBuffer + a_iSize;) {
        // Names are padded: each event is aligned as the first one.
        const auto* pEvent = static_cast<const inotify_event*>(static_cast<const void*>(pNext));
        a_oFunction(*pEvent);
        pNext += sizeof *pEvent + pEvent->len;
    }
}

} // namespace zel
