#include "restore/schemaversion.h"

#include <cctype>
#include <charconv>

using systema::SqliteError;
using systema::SqliteFile;

namespace zel::cfg {

SchemaVersion::SchemaVersion(std::string_view a_sDatabase) : m_sTable("SchemaVersion")
{
    bool bWordBegins = true;
    for (const char cLetter : a_sDatabase.substr(0, a_sDatabase.rfind('.'))) {
        if (cLetter != '-') {
            m_sTable += bWordBegins ? static_cast<char>(std::toupper(cLetter)) : cLetter;
        }
        bWordBegins = cLetter == '-';
    }
}

int SchemaVersion::read(const SqliteFile& a_oDatabase) const
{
    int iVersion = 0;
    try {
        for (const auto& lRow : a_oDatabase.select("SELECT Version FROM " + m_sTable + " WHERE Id = 1")) {
            std::from_chars(lRow[0].data(), lRow[0].data() + lRow[0].size(), iVersion);
        }
    } catch (const SqliteError& oError) { // there is no such table, or another one of that name
        if (oError.isOfMachine()) {
            throw;
        }
    }
    return iVersion;
}

void SchemaVersion::write(SqliteFile& a_oDatabase, int a_iVersion) const
{
    SqliteFile::Transaction oTransaction(a_oDatabase);
    a_oDatabase.run("DROP TABLE IF EXISTS " + m_sTable);
    a_oDatabase.run("CREATE TABLE " + m_sTable + " (Id INTEGER PRIMARY KEY, Version INTEGER NOT NULL)");
    a_oDatabase.run("INSERT INTO " + m_sTable + " VALUES(1, " + std::to_string(a_iVersion) + ")");
    oTransaction.commit();
}

} // namespace zel::cfg
