#include "storage/sqliteguard.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace systema {

namespace {

constexpr std::array<std::string_view, 3> c_aFunctions = {"count", "last_insert_rowid", "like"};
constexpr std::array<std::string_view, 5> c_aPragmas = {"max_page_count", "table_xinfo", "index_list",
                                                        "index_info", "foreign_key_list"};
constexpr std::string_view c_sInternal = "sqlite_"; // prefix of the tables that SQLite keeps for itself

bool isAllowed(int a_iAction, const char* a_pFirst, const char* a_pSecond, bool a_bInSchema)
{
    switch (a_iAction) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_TRANSACTION:
        return true;
    case SQLITE_INSERT:
    case SQLITE_UPDATE:
    case SQLITE_DELETE:
        return a_bInSchema ||
               sqlite3_strnicmp(a_pFirst, c_sInternal.data(), static_cast<int>(c_sInternal.size())) != 0;
    case SQLITE_FUNCTION:
        return a_bInSchema || std::ranges::find(c_aFunctions, a_pSecond) != c_aFunctions.end();
    case SQLITE_RECURSIVE:
        return a_bInSchema;
    case SQLITE_PRAGMA:
        return std::ranges::find(c_aPragmas, a_pFirst) != c_aPragmas.end();
    default:
        return false;
    }
}

extern "C" int authorize(void*, int a_iAction, const char* a_pFirst, const char* a_pSecond, const char*,
                         const char* a_pTriggerOrView)
{
    return isAllowed(a_iAction, a_pFirst, a_pSecond, a_pTriggerOrView != nullptr) ? SQLITE_OK : SQLITE_DENY;
}

} // namespace

void guardDatabase(sqlite3* a_pDatabase)
{
    int* pIgnored = nullptr;
    sqlite3_db_config(a_pDatabase, SQLITE_DBCONFIG_DEFENSIVE, 1, pIgnored);
    sqlite3_db_config(a_pDatabase, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, pIgnored);
    sqlite3_db_config(a_pDatabase, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, pIgnored);
    sqlite3_set_authorizer(a_pDatabase, authorize, nullptr);
}

} // namespace systema
