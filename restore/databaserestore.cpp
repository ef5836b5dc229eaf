#include "restore/databaserestore.h"

#include "restore/dump.h"
#include "restore/merge.h"
#include "restore/schema.h"
#include "zel/log.h"

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;
using systema::SqliteError;
using systema::SqliteFile;

namespace zel::cfg {

namespace {

constexpr std::size_t c_iGenerationsTried = 2;

/// The database goes before its journal: a journal without a database is never used, while a database that
/// lost its journal may look sound and not be. Either kind of journal would be played into a new database of
/// the name.
void removeDatabase(const std::string& a_sPath)
{
    for (const char* pSuffix : {"", "-journal", "-wal", "-shm"}) {
        fs::remove(a_sPath + pSuffix);
    }
}

} // namespace

DatabaseRestore::DatabaseRestore(const systema::DatabaseFile& a_oFile, const RestoreSettings& a_oSettings,
                                 const std::vector<Generation>& a_lGenerations,
                                 const Migrations& a_oMigrations, int a_iLogModule)
    : m_oFile(a_oFile),
      m_oSettings(a_oSettings),
      m_lGenerations(a_lGenerations),
      m_oMigrations(a_oMigrations),
      m_iModule(a_iLogModule),
      m_sPath(fs::path(a_oSettings.m_sDatabaseDirectory) / a_oFile.m_pName),
      m_sTemporary(m_sPath + ".restore"),
      m_oVersion(a_oFile.m_pName)
{
}

ERestored DatabaseRestore::run()
{
    try {
        removeDatabase(m_sTemporary);
        auto oExisting = lockExisting();
        loadFactory();
        if (m_oSettings.m_bKeep && oExisting && isCurrent(*oExisting)) {
            m_sSource = "kept";
            return ERestored::Current;
        }
        const ERestored eRestored = make();
        putInPlace();
        return eRestored;
    } catch (const std::exception& oError) {
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s cannot be made: %s", m_oFile.m_pName,
                              oError.what());
        std::error_code oIgnored;
        fs::remove(m_sTemporary, oIgnored);
        m_sSource.clear();
        return ERestored::Failed;
    }
}

/// Nothing when the file is missing or no database, and so of no use to anybody.
std::optional<SqliteFile> DatabaseRestore::lockExisting() const
{
    try {
        std::optional<SqliteFile> oExisting(std::in_place, m_sPath, SqliteFile::EOpen::Existing);
        if (!oExisting->lock()) {
            throw std::runtime_error("in use by another process");
        }
        return oExisting;
    } catch (const SqliteError& oError) {
        if (oError.isOfMachine() && fs::exists(m_sPath)) {
            throw;
        }
        return std::nullopt;
    }
}

void DatabaseRestore::loadFactory()
{
    const std::string sFactory =
        fs::path(m_oSettings.m_sFactoryDirectory) / fs::path(m_oFile.m_pName).replace_extension(".sql");
    try {
        m_oFactory.emplace();
        loadDump(*m_oFactory, sFactory);
    } catch (const std::runtime_error& oError) {
        m_oFactory.reset();
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s: %s", sFactory.c_str(), oError.what());
    }
}

/// Without the factory there is nothing to compare with.
bool DatabaseRestore::hasFactorySchema(const SqliteFile& a_oDatabase) const
{
    const std::string& sVersion = m_oVersion.getTable();
    return !m_oFactory || readSchema(a_oDatabase, sVersion) == readSchema(*m_oFactory, sVersion);
}

bool DatabaseRestore::isCurrent(const SqliteFile& a_oDatabase) const
{
    if (const auto oDamage = a_oDatabase.findDamage()) {
        ZEL_Sysloglevel_warning(m_iModule, zel::here(), "%s is not kept: %s", m_oFile.m_pName,
                                oDamage->c_str());
        return false;
    }
    const bool bCurrent =
        hasFactorySchema(a_oDatabase) &&
        (!m_oFile.m_bPersistent || m_oVersion.read(a_oDatabase) == m_oMigrations.getLatest());
    if (!bCurrent) {
        ZEL_Sysloglevel_warning(m_iModule, zel::here(), "%s is not kept: its schema is not the current one",
                                m_oFile.m_pName);
    }
    return bCurrent;
}

ERestored DatabaseRestore::make()
{
    bool bSaved = false;
    for (std::size_t i = 0; i < std::min(m_lGenerations.size(), c_iGenerationsTried); ++i) {
        const std::string sDump = m_lGenerations[i].m_sDirectory + "/" + m_oFile.m_pName + ".sql";
        std::error_code oUnreadable; // which is no reason to take it for one that was never saved
        if (!m_oFile.m_bPersistent || (!fs::exists(sDump, oUnreadable) && !oUnreadable)) {
            continue;
        }
        bSaved = true;
        if (const auto oRestored = takeDump(sDump)) {
            m_sSource = "generation " + std::to_string(m_lGenerations[i].m_iNumber);
            if (i == 0) {
                return *oRestored;
            }
            m_sSource += " (previous)";
            ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s is older than what was saved last",
                                  m_oFile.m_pName);
            return ERestored::FellBack;
        }
    }
    takeFactory();
    if (bSaved) {
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s: the settings are those of the factory",
                              m_oFile.m_pName);
    }
    return bSaved ? ERestored::FellBack : ERestored::Current;
}

/// Nothing when the dump is of no use. What the machine could not do it could not do with another dump
/// either, and an older one would then replace a good one for no fault of it: that is thrown.
std::optional<ERestored> DatabaseRestore::takeDump(const std::string& a_sDump)
{
    removeDatabase(m_sTemporary);
    SqliteFile oSaved(m_sTemporary, SqliteFile::EOpen::New);
    try {
        loadDump(oSaved, a_sDump);
        if (findTables(oSaved).empty() && m_oFactory && !findTables(*m_oFactory).empty()) {
            throw std::runtime_error("holds no table");
        }
        return upgrade(oSaved);
    } catch (const SqliteError& oError) {
        if (oError.isOfMachine()) {
            throw;
        }
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s: %s", a_sDump.c_str(), oError.what());
    } catch (const std::runtime_error& oError) {
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s: %s", a_sDump.c_str(), oError.what());
    }
    return std::nullopt;
}

ERestored DatabaseRestore::upgrade(SqliteFile& a_oSaved)
{
    const char* pName = m_oFile.m_pName;
    const int iLatest = m_oMigrations.getLatest();
    const int iSaved = m_oVersion.read(a_oSaved);
    ERestored eRestored = ERestored::Current;
    if (iSaved > iLatest) {
        ZEL_Sysloglevel_warning(m_iModule, zel::here(),
                                "%s was saved by a newer firmware: schema version %d, here %d", pName, iSaved,
                                iLatest);
    } else if (!m_oMigrations.run(a_oSaved, pName, iSaved)) {
        eRestored = ERestored::FellBack;
    }
    if (!hasFactorySchema(a_oSaved)) {
        ZEL_Sysloglevel_info(m_iModule, zel::here(), "%s has another schema now", pName);
        SqliteFile oMerged;
        m_oFactory->copyTo(oMerged);
        mergeRows(oMerged, a_oSaved, pName, m_oVersion.getTable(), m_iModule);
        oMerged.copyTo(a_oSaved);
        if (const auto oDamage = a_oSaved.findDamage()) {
            throw std::runtime_error(*oDamage);
        }
    }
    m_oVersion.write(a_oSaved, iLatest);
    return eRestored;
}

void DatabaseRestore::takeFactory()
{
    if (!m_oFactory) {
        throw std::runtime_error("nothing to make it from");
    }
    removeDatabase(m_sTemporary);
    SqliteFile oNew(m_sTemporary, SqliteFile::EOpen::New);
    m_oFactory->copyTo(oNew);
    if (m_oFile.m_bPersistent) {
        m_oVersion.write(oNew, m_oMigrations.getLatest());
    }
    m_sSource = "factory";
}

void DatabaseRestore::putInPlace() const
{
    removeDatabase(m_sPath);
    fs::rename(m_sTemporary, m_sPath);
}

} // namespace zel::cfg
