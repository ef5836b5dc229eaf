// Makes one database file anew: from what was saved of it, else from the factory.
//
// Owned by restoreDatabases() for the one run. What is made is made beside the file and takes its place when
// it is complete and sound; until then the file is as it was. Whatever reads a dump, the factory's SQL or the
// file itself does so in a process of its own, under limits. Failures are logged.
#pragma once

#include "restore/generations.h"
#include "restore/migrations.h"
#include "restore/restore.h"
#include "restore/schemaversion.h"
#include "storage/databasefiles.h"
#include "storage/sqlitefile.h"

#include <functional>
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
    /// Does what run() does with a dump, but for writing the file. Throws systema::SqliteError with what is
    /// wrong with the dump, or with the machine, in one line without the dump's name.
    /// Does not log what is wrong with the factory.
    void check(const std::string& a_sDump);
    /// The status of the run is known to its caller: the next run need not tell it again.
    void markTold() const;
    /// Where the database came from; empty when it could not be made.
    const std::string& getSource() const { return m_sSource; }

private:
    enum class EExisting
    {
        Unknown, // nobody asked for what there is
        Missing,
        Damaged,
        Outdated // sound, but of another schema
    };

    int confined(const std::string& a_sFile, const std::function<int()>& a_oWork) const;
    std::optional<systema::SqliteFile> lockExisting() const;
    std::string factoryOf(const systema::DatabaseFile& a_oFile) const;
    std::optional<std::string> findFactory();
    void loadFactory();
    bool isKept();
    bool isCurrent(const systema::SqliteFile& a_oDatabase) const;
    ERestored tellUntold() const;
    bool losesUnsaved() const;
    void tellLoss() const;
    void requireTables(const systema::SqliteFile& a_oDatabase) const;
    void requireOwn(const systema::SqliteFile& a_oSaved) const;
    bool hasFactorySchema(const systema::SqliteFile& a_oDatabase) const;
    ERestored make();
    std::optional<ERestored> takeDump(const std::string& a_sDump);
    ERestored makeFrom(const std::string& a_sDump, bool a_bWrite);
    ERestored makeConfined(const std::string& a_sDump, bool a_bMigrate, bool a_bWrite);
    ERestored upgrade(systema::SqliteFile& a_oSaved, bool a_bMigrate) const;
    void takeFactory();
    void write(const systema::SqliteFile& a_oDatabase) const;
    void putInPlace() const;

    const systema::DatabaseFile& m_oFile;
    const RestoreSettings& m_oSettings;
    const std::vector<Generation>& m_lGenerations;
    const Migrations& m_oMigrations;
    const int m_iModule;
    const std::string m_sPath;
    const std::string m_sTemporary;
    const std::string m_sUntold; // there while a run has replaced the database by less, and may be killed
    const std::string m_sFactory;
    const SchemaVersion m_oVersion;
    bool m_bFactory = false;                       // it is there and loads
    std::optional<systema::SqliteFile> m_oFactory; // loaded by each process that needs it
    EExisting m_eExisting = EExisting::Unknown;
    bool m_bSaved = false; // what was made is what was saved last
    std::string m_sSource;
};

} // namespace zel::cfg
