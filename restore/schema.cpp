#include "restore/schema.h"

#include "storage/sqlitestring.h"

#include <strings.h>

using systema::SqliteFile;
using systema::SqliteString;

namespace zel::cfg {

namespace {

const char* const c_pOwn = "substr(name, 1, 7) <> 'sqlite_'";

} // namespace

std::string quotedName(std::string_view a_sName)
{
    return '"' + SqliteString::replace(a_sName, "\"", "\"\"") + '"';
}

std::string quotedText(std::string_view a_sText)
{
    return '\'' + SqliteString::replace(a_sText, "'", "''") + '\'';
}

bool isSameName(const std::string& a_sName, const std::string& a_sOther)
{
    return ::strcasecmp(a_sName.c_str(), a_sOther.c_str()) == 0;
}

std::vector<std::string> findTables(const SqliteFile& a_oDatabase)
{
    std::vector<std::string> lTables;
    for (auto& lRow :
         a_oDatabase.select(std::string("SELECT name FROM sqlite_master WHERE type = 'table' AND ") + c_pOwn +
                            " ORDER BY name")) {
        lTables.push_back(std::move(lRow[0]));
    }
    return lTables;
}

std::vector<SqliteFile::Row> readSchema(const SqliteFile& a_oDatabase, const std::string& a_sWithout)
{
    return a_oDatabase.select(std::string("SELECT type, name, tbl_name, sql FROM sqlite_master WHERE ") +
                              c_pOwn + " AND name <> " + quotedText(a_sWithout) + " ORDER BY type, name");
}

std::string countRows(const SqliteFile& a_oDatabase, const std::string& a_sTable)
{
    return a_oDatabase.select("SELECT count(*) FROM " + quotedName(a_sTable)).at(0).at(0);
}

} // namespace zel::cfg
