// Makes one database file anew: from what was saved of it, else from the factory.
//
// Owned by restoreDatabases() for the one run. What is made is made beside the file and takes its place when
// it is complete and sound; until then the file is as it was. Failures are logged.
#pragma once

#include "restore/generations.h"
#include "restore/migrations.h"
#include "restore/restore.h"
#include "restore/schemaversion.h"
#include "storage/databasefiles.h"
#include "storage/sqlitefile.h"

#include <optional>
#include <string>
#include <vector>

namespace zel::cfg {

class DatabaseRestore
{
public:
    /// The arguments must outlive the object.
    DatabaseRestore(const systema::DatabaseFile& a_oFile, const RestoreSettings& a_oSettings,
                    const std::vector<Generation>& a_lGenerations, const Migrations& a_oMigrations,
                    int a_iLogModule);

    /// Never throws.
    ERestored run();
    /// Where the database came from; empty when it could not be made.
    const std::string& getSource() const { return m_sSource; }

private:
    std::optional<systema::SqliteFile> lockExisting() const;
    void loadFactory();
    bool isCurrent(const systema::SqliteFile& a_oDatabase) const;
    bool hasFactorySchema(const systema::SqliteFile& a_oDatabase) const;
    ERestored make();
    std::optional<ERestored> takeDump(const std::string& a_sDump);
    ERestored upgrade(systema::SqliteFile& a_oSaved);
    void takeFactory();
    void putInPlace() const;

    const systema::DatabaseFile& m_oFile;
    const RestoreSettings& m_oSettings;
    const std::vector<Generation>& m_lGenerations;
    const Migrations& m_oMigrations;
    const int m_iModule;
    const std::string m_sPath;
    const std::string m_sTemporary;
    const SchemaVersion m_oVersion;
    std::optional<systema::SqliteFile> m_oFactory;
    std::string m_sSource;
};

} // namespace zel::cfg
