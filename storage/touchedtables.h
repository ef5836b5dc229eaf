// Collects the tables whose rows a connection changes: by the statement itself, a trigger, the action of a
// reference, or the replacement of a conflicting row. A table brings the views of the schema that read it.
//
// Owned by the connection and used on its thread. SQLite reports each row before it is changed, so after a
// failed statement inside a transaction the list may have tables that did not change. When memory runs out
// and a name cannot be kept, the list counts as incomplete.
#pragma once

#include "systema/lists.h"

#include <string>
#include <unordered_map>

struct sqlite3;

namespace systema {

class TouchedTables
{
public:
    /// Starts with an open connection. Replaces its authorizer, so set the real one afterwards.
    void watch(sqlite3* a_pDatabase);
    /// Empties the list after a rollback.
    void forget() noexcept;
    /// Replaces a_lTables by the names collected since the last call, each once. False when names are
    /// missing: then any table may have changed.
    bool take(NameList& a_lTables) noexcept;

private:
    static void onChange(void* a_pThis, sqlite3*, int, const char*, const char* a_pTable, long long,
                         long long);
    static int onRead(void* a_pThis, int a_iAction, const char* a_pTable, const char*, const char*,
                      const char*);

    void readViews(sqlite3* a_pDatabase);
    void add(const char* a_pTable);

    NameList m_lNames;
    bool m_bComplete = true;                            // false: names are missing in m_lNames
    std::unordered_map<std::string, NameList> m_mViews; // the views that read a table
    std::string m_sView;                                // whose sources readViews is collecting
    bool m_bViewsKnown = true;
};

} // namespace systema
