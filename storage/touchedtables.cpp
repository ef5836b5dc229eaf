#include "storage/touchedtables.h"

#include "storage/sqlitestatement.h"
#include "zel/memory.h"

#include <sqlite3.h>

#include <new>
#include <utility>

namespace systema {

void TouchedTables::watch(sqlite3* a_pDatabase)
{
    forget();
    readViews(a_pDatabase);
    // Of SQLite's hooks this is the one that is also called for tables WITHOUT ROWID and for rows that are
    // replaced. While it is set, a table is emptied row by row.
    sqlite3_preupdate_hook(a_pDatabase, onChange, this);
}

void TouchedTables::forget() noexcept
{
    m_lNames.clear();
    m_bComplete = m_bViewsKnown;
}

bool TouchedTables::take(NameList& a_lTables) noexcept
{
    a_lTables.clear();
    std::swap(a_lTables, m_lNames);
    return std::exchange(m_bComplete, m_bViewsKnown);
}

void TouchedTables::add(const char* a_pTable)
{
    if (m_lNames.hasName(a_pTable)) {
        return;
    }
    m_lNames.add(a_pTable);
    if (const auto it = m_mViews.find(a_pTable); it != m_mViews.end()) {
        for (const auto& sView : it->second) {
            m_lNames.add(sView);
        }
    }
}

void TouchedTables::onChange(void* a_pThis, sqlite3*, int, const char*, const char* a_pTable, long long,
                             long long)
{
    auto& oThis = *static_cast<TouchedTables*>(a_pThis);
    try {
        oThis.add(a_pTable);
    } catch (const std::bad_alloc&) {
        zel::noteMemoryFailure();
        oThis.m_bComplete = false;
    }
}

void TouchedTables::readViews(sqlite3* a_pDatabase)
{
    m_mViews.clear();
    m_bViewsKnown = true;
    sqlite3_stmt* pPrepared = nullptr;
    const char* pViews = "SELECT name, 'SELECT * FROM \"' || replace(name, '\"', '\"\"') || '\"'"
                         " FROM sqlite_master WHERE type = 'view'";
    sqlite3_prepare_v2(a_pDatabase, pViews, -1, &pPrepared, nullptr);
    SqliteStatement oViews(pPrepared);
    sqlite3_set_authorizer(a_pDatabase, onRead, this); // is asked for each column that a view reads
    while (oViews.step() == SQLITE_ROW) {
        m_sView = oViews.readText();
        sqlite3_stmt* pView = nullptr;
        sqlite3_prepare_v2(a_pDatabase, oViews.readText(1).c_str(), -1, &pView, nullptr);
        sqlite3_finalize(pView);
    }
}

int TouchedTables::onRead(void* a_pThis, int a_iAction, const char* a_pTable, const char*, const char*,
                          const char*)
{
    auto& oThis = *static_cast<TouchedTables*>(a_pThis);
    try {
        if (a_iAction == SQLITE_READ && !oThis.m_mViews[a_pTable].hasName(oThis.m_sView)) {
            oThis.m_mViews[a_pTable].add(oThis.m_sView);
        }
    } catch (const std::bad_alloc&) {
        zel::noteMemoryFailure();
        oThis.m_bViewsKnown = false;
    }
    return SQLITE_OK;
}

} // namespace systema
