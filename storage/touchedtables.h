// The tables whose rows a connection has changed, whatever brought it about: the statement itself, a trigger,
// an action of a reference, a row that had to make room for another. With a table come the views of the
// schema that read it.
//
// Owned by the connection and used on its thread. SQLite reports each row before it is changed, so a failed
// statement that a transaction goes on after may have noted tables that are as they were. Where memory is
// out, and a name cannot be kept, everything counts as changed.
#pragma once

#include "systema/lists.h"

#include <string>
#include <unordered_map>

struct sqlite3;

namespace systema {

class TouchedTables
{
public:
    /// Notes what is changed over the open connection from here on. Its authorizer must be set after this.
    void watch(sqlite3* a_pDatabase);
    /// What was noted was undone.
    void forget() noexcept;
    /// Replaces the list by what was noted since the last call, a table once. False when names are missing:
    /// then any table may have changed.
    bool take(NameList& a_lTables) noexcept;

private:
    static void onChange(void* a_pThis, sqlite3*, int, const char*, const char* a_pTable, long long,
                         long long);
    static int onRead(void* a_pThis, int a_iAction, const char* a_pTable, const char*, const char*,
                      const char*);

    void readViews(sqlite3* a_pDatabase);
    void add(const char* a_pTable);

    NameList m_lNames;
    bool m_bComplete = true;                            // m_lNames is
    std::unordered_map<std::string, NameList> m_mViews; // by what they read
    std::string m_sView;                                // the one whose sources are read
    bool m_bViewsKnown = true;
};

} // namespace systema
