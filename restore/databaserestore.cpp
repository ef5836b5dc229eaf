#include "restore/databaserestore.h"

#include "restore/confined.h"
#include "restore/dump.h"
#include "restore/merge.h"
#include "restore/schema.h"
#include "zel/log.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <ranges>
#include <string_view>

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

bool sharesName(const std::vector<std::string>& a_lTables, const std::vector<std::string>& a_lOthers)
{
    return std::ranges::any_of(a_lTables, [&](const std::string& a_sTable) {
        return std::ranges::any_of(
            a_lOthers, [&](const std::string& a_sOther) { return isSameName(a_sTable, a_sOther); });
    });
}

/// None of a factory that is missing or does not load.
std::vector<std::string> tablesOfFactory(const std::string& a_sFactory, const Limits& a_oLimits)
{
    try {
        SqliteFile oFactory(a_oLimits.m_iDatabase);
        loadDump(oFactory, a_sFactory, a_oLimits);
        return findTables(oFactory);
    } catch (const SqliteError& oError) {
        if (oError.isOfMachine()) {
            throw;
        }
    } catch (const std::runtime_error&) { // no file, or no text
    }
    return {};
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
      m_sUntold(m_sPath + ".untold"),
      m_sFactory(factoryOf(a_oFile)),
      m_oVersion(a_oFile.m_pName)
{
}

ERestored DatabaseRestore::run()
{
    try {
        removeDatabase(m_sTemporary);
        const ERestored eUntold = tellUntold();
        if (const auto oFault = findFactory()) {
            ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s: %s", m_sFactory.c_str(), oFault->c_str());
        }
        if (m_oSettings.m_bKeep && isKept()) {
            m_sSource = "kept";
            return std::max(eUntold, m_bFactory ? ERestored::Current : ERestored::FellBack);
        }
        const auto oExisting = lockExisting();
        const ERestored eMade = make();
        const bool bLoss = losesUnsaved();
        const ERestored eRestored = bLoss ? std::max(eMade, ERestored::FellBack) : eMade;
        if (eRestored != ERestored::Current) {
            const std::ofstream oMark(m_sUntold);
        }
        putInPlace();
        if (bLoss) {
            tellLoss();
        }
        // Without its factory a database cannot follow the firmware, nor survive the loss of what is saved.
        return std::max({eUntold, eRestored, m_bFactory ? ERestored::Current : ERestored::FellBack});
    } catch (const std::exception& oError) {
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s cannot be made: %s", m_oFile.m_pName,
                              oError.what());
        std::error_code oIgnored;
        fs::remove(m_sTemporary, oIgnored);
        m_sSource.clear();
        return ERestored::Failed;
    }
}

void DatabaseRestore::check(const std::string& a_sDump)
{
    findFactory();
    makeFrom(a_sDump, false);
}

int DatabaseRestore::confined(const std::string& a_sFile, const std::function<int()>& a_oWork) const
{
    return runConfined(m_oSettings.m_oLimits, a_sFile, a_oWork);
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

std::string DatabaseRestore::factoryOf(const systema::DatabaseFile& a_oFile) const
{
    return fs::path(m_oSettings.m_sFactoryDirectory) / fs::path(a_oFile.m_pName).replace_extension(".sql");
}

/// Returns what is wrong with it. A factory that is of no use must not make a fault of the dumps, so it is
/// tried alone.
std::optional<std::string> DatabaseRestore::findFactory()
{
    try {
        m_bFactory = true;
        confined(m_sFactory, [this] {
            loadFactory();
            return 0;
        });
        return std::nullopt;
    } catch (const SqliteError& oError) {
        m_bFactory = false;
        return oError.what();
    }
}

void DatabaseRestore::loadFactory()
{
    if (m_bFactory) {
        m_oFactory.emplace(m_oSettings.m_oLimits.m_iDatabase);
        loadDump(*m_oFactory, m_sFactory, m_oSettings.m_oLimits);
    }
}

/// Throws when the database is empty and should not be.
void DatabaseRestore::requireTables(const SqliteFile& a_oDatabase) const
{
    if (findTables(a_oDatabase).empty() && m_oFactory && !findTables(*m_oFactory).empty()) {
        throw std::runtime_error("holds no table");
    }
}

/// Throws when the dump is one of another database: its rows would be dropped as unknown, and the settings be
/// those of the factory. The table of the schema version names the database; a dump without one, as older
/// firmware wrote it, has tables of its own factory. Tables that no factory has tell nothing: they may be a
/// board's own, or wait for a migration.
void DatabaseRestore::requireOwn(const SqliteFile& a_oSaved) const
{
    const auto lTables = findTables(a_oSaved);
    auto oOthers = systema::c_aDatabaseFiles | std::views::filter([this](const auto& a_oFile) {
                       return std::string_view(a_oFile.m_pName) != m_oFile.m_pName;
                   });
    const auto throwOther = [this](const systema::DatabaseFile& a_oFile) {
        throw std::runtime_error(std::string("is a dump of ") + a_oFile.m_pName + ", not of " +
                                 m_oFile.m_pName);
    };
    if (sharesName(lTables, {m_oVersion.getTable()})) {
        return;
    }
    for (const auto& oFile : oOthers) {
        if (sharesName(lTables, {SchemaVersion(oFile.m_pName).getTable()})) {
            throwOther(oFile);
        }
    }
    if (!m_oFactory || sharesName(lTables, findTables(*m_oFactory))) {
        return;
    }
    for (const auto& oFile : oOthers) {
        if (sharesName(lTables, tablesOfFactory(factoryOf(oFile), m_oSettings.m_oLimits))) {
            throwOther(oFile);
        }
    }
}

/// Without the factory there is nothing to compare with.
bool DatabaseRestore::hasFactorySchema(const SqliteFile& a_oDatabase) const
{
    const std::string& sVersion = m_oVersion.getTable();
    return !m_oFactory || readSchema(a_oDatabase, sVersion) == readSchema(*m_oFactory, sVersion);
}

bool DatabaseRestore::isKept()
{
    if (!fs::exists(m_sPath)) {
        m_eExisting = EExisting::Missing;
        return false;
    }
    std::string sFault = "its schema is not the current one";
    try {
        const bool bCurrent = confined(m_sPath, [this] {
            SqliteFile oExisting(m_sPath, SqliteFile::EOpen::Existing);
            if (!oExisting.lock()) {
                throw std::runtime_error("in use by another process");
            }
            if (const auto oDamage = oExisting.checkIntegrity()) {
                throw std::runtime_error(*oDamage);
            }
            loadFactory();
            requireTables(oExisting);
            return isCurrent(oExisting) ? 1 : 0;
        });
        if (bCurrent) {
            return true;
        }
        m_eExisting = EExisting::Outdated;
    } catch (const SqliteError& oError) {
        if (oError.isOfMachine()) {
            throw;
        }
        m_eExisting = EExisting::Damaged;
        sFault = oError.what();
    }
    ZEL_Sysloglevel_warning(m_iModule, zel::here(), "%s is not kept: %s", m_oFile.m_pName, sFault.c_str());
    return false;
}

bool DatabaseRestore::isCurrent(const SqliteFile& a_oDatabase) const
{
    return hasFactorySchema(a_oDatabase) &&
           (!m_oFile.m_bPersistent || m_oVersion.read(a_oDatabase) == m_oMigrations.getLatest());
}

/// FellBack when a run before put something else in the place of the database than what it had, and was
/// killed before it could end with a status that tells.
ERestored DatabaseRestore::tellUntold() const
{
    if (!fs::exists(m_sUntold)) {
        return ERestored::Current;
    }
    ZEL_Sysloglevel_error(
        m_iModule, zel::here(),
        "%s fell back to an older state in a run that was killed: what was not saved of it is "
        "lost",
        m_oFile.m_pName);
    return ERestored::FellBack;
}

void DatabaseRestore::markTold() const
{
    std::error_code oIgnored;
    fs::remove(m_sUntold, oIgnored);
}

/// True when --keep finds that the database had what was made does not have. The daemon's mark tells that not
/// everything was saved; at a boot there is none, and no database. Without it nothing is lost with a database
/// of which the current generation has a dump.
bool DatabaseRestore::losesUnsaved() const
{
    const bool bUnsaved = fs::exists(fs::path(m_oSettings.m_sDatabaseDirectory) / systema::c_pUnsavedMark);
    return m_eExisting != EExisting::Unknown &&
           (bUnsaved || (m_eExisting == EExisting::Damaged && !m_bSaved));
}

void DatabaseRestore::tellLoss() const
{
    ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s was %s: what was not saved of it is lost",
                          m_oFile.m_pName,
                          m_eExisting == EExisting::Missing   ? "missing"
                          : m_eExisting == EExisting::Damaged ? "damaged"
                                                              : "of another schema");
}

ERestored DatabaseRestore::make()
{
    bool bSaved = false;
    for (std::size_t i = 0; i < std::min(m_lGenerations.size(), c_iGenerationsTried); ++i) {
        const std::string sName = std::string(m_oFile.m_pName) + ".sql";
        const std::string sDump = m_lGenerations[i].m_sDirectory + "/" + sName;
        std::error_code oUnreadable; // which is no reason to take it for one that was never saved
        const bool bMissing = !fs::exists(sDump, oUnreadable) && !oUnreadable;
        if (!m_oFile.m_bPersistent || (bMissing && !lists(m_lGenerations[i], sName))) {
            continue;
        }
        bSaved = true;
        if (bMissing) {
            ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s: is missing, though it was saved",
                                  sDump.c_str());
            continue;
        }
        if (const auto oRestored = takeDump(sDump)) {
            m_sSource = "generation " + std::to_string(m_lGenerations[i].m_iNumber);
            if (i == 0) {
                m_bSaved = true;
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
    try {
        return makeFrom(a_sDump, true);
    } catch (const SqliteError& oError) {
        if (oError.isOfMachine()) {
            throw;
        }
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s: %s", a_sDump.c_str(), oError.what());
        return std::nullopt;
    }
}

/// Migrations that do not end are ones that fail, and no fault of the dump.
ERestored DatabaseRestore::makeFrom(const std::string& a_sDump, bool a_bWrite)
{
    try {
        return makeConfined(a_sDump, true, a_bWrite);
    } catch (const OutOfTime& oError) {
        if (!m_oMigrations.areFor(m_oFile.m_pName)) {
            throw;
        }
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s with its migrations: %s", m_oFile.m_pName,
                              oError.what());
    }
    return makeConfined(a_sDump, false, a_bWrite);
}

ERestored DatabaseRestore::makeConfined(const std::string& a_sDump, bool a_bMigrate, bool a_bWrite)
{
    return ERestored(confined(a_sDump, [&] {
        loadFactory();
        SqliteFile oSaved(m_oSettings.m_oLimits.m_iDatabase);
        loadDump(oSaved, a_sDump, m_oSettings.m_oLimits);
        requireTables(oSaved);
        requireOwn(oSaved);
        const ERestored eRestored = upgrade(oSaved, a_bMigrate);
        if (a_bWrite) {
            write(oSaved);
        }
        return static_cast<int>(eRestored);
    }));
}

ERestored DatabaseRestore::upgrade(SqliteFile& a_oSaved, bool a_bMigrate) const
{
    const char* pName = m_oFile.m_pName;
    const int iLatest = m_oMigrations.getLatest();
    const int iSaved = m_oVersion.read(a_oSaved);
    ERestored eRestored = ERestored::Current;
    if (iSaved > iLatest) {
        ZEL_Sysloglevel_warning(m_iModule, zel::here(),
                                "%s was saved by a newer firmware: schema version %d, here %d", pName, iSaved,
                                iLatest);
    } else if (!a_bMigrate || !m_oMigrations.run(a_oSaved, pName, iSaved)) {
        eRestored = ERestored::FellBack;
    }
    if (!hasFactorySchema(a_oSaved)) {
        ZEL_Sysloglevel_info(m_iModule, zel::here(), "%s has another schema now", pName);
        SqliteFile oMerged(m_oSettings.m_oLimits.m_iDatabase);
        m_oFactory->copyTo(oMerged);
        mergeRows(oMerged, a_oSaved, pName, m_oVersion.getTable(), m_iModule);
        a_oSaved = std::move(oMerged);
        if (const auto oDamage = a_oSaved.checkIntegrity()) {
            throw std::runtime_error(*oDamage);
        }
    }
    m_oVersion.write(a_oSaved, iLatest);
    return eRestored;
}

void DatabaseRestore::takeFactory()
{
    if (!m_bFactory) {
        throw std::runtime_error("nothing to make it from");
    }
    confined(m_sFactory, [this] {
        loadFactory();
        if (m_oFile.m_bPersistent) {
            m_oVersion.write(*m_oFactory, m_oMigrations.getLatest());
        }
        write(*m_oFactory);
        return 0;
    });
    m_sSource = "factory";
}

/// What is made is made in memory: only then a full disk is no fault of the dump.
void DatabaseRestore::write(const SqliteFile& a_oDatabase) const
{
    removeDatabase(m_sTemporary);
    SqliteFile oNew(m_sTemporary, SqliteFile::EOpen::New);
    a_oDatabase.copyTo(oNew);
}

void DatabaseRestore::putInPlace() const
{
    removeDatabase(m_sPath);
    fs::rename(m_sTemporary, m_sPath);
}

} // namespace zel::cfg
