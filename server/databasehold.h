// Lets the databases go for as long as it lives, so that the sqlite3 shell can read them.
//
// A local variable of whoever dumps; main thread only. However the dump ends, they are taken back. An open
// transaction would be rolled back, so there may be none but at the end of the daemon.
#pragma once

#include "systema/configdispatcher.h"

namespace zel::cfg {

class DatabaseHold
{
public:
    /// Skips the hold, but not the release, when they are held already, by design.
    explicit DatabaseHold(const void* a_pOwner) : m_pOwner(a_pOwner)
    {
        auto& oDispatcher = systema::ConfigDispatcher::instance();
        if (oDispatcher.connectionOpened()) {
            oDispatcher.close(m_pOwner);
        }
    }
    ~DatabaseHold() { systema::ConfigDispatcher::instance().open(m_pOwner); }
    DatabaseHold(const DatabaseHold&) = delete;
    DatabaseHold& operator=(const DatabaseHold&) = delete;

private:
    const void* const m_pOwner;
};

} // namespace zel::cfg
