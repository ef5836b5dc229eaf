#include "restore/restore.h"

#include "restore/backup.h"
#include "restore/databaserestore.h"
#include "restore/dumpcheck.h"
#include "storage/directorylock.h"
#include "zel/log.h"
#include "zel/stopflag.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <list>
#include <ostream>
#include <system_error>

namespace fs = std::filesystem;

namespace zel::cfg {

namespace {

/// Throws systema::SqliteError with what is wrong.
void checkDump(const RestoreSettings& a_oSettings, const Migrations& a_oMigrations,
               const std::string& a_sFile, int a_iModule)
{
    const std::vector<Generation> lNone;
    for (const auto& oFile : systema::c_aDatabaseFiles) {
        if (fs::path(a_sFile).filename() == std::string(oFile.m_pName) + ".sql") {
            return DatabaseRestore(oFile, a_oSettings, lNone, a_oMigrations, a_iModule).check(a_sFile);
        }
    }
    checkLoads(a_sFile, a_oSettings.m_oLimits);
}

/// Stores the backup. False when it is unusable or could not be stored, which is logged.
bool takeBackup(const RestoreSettings& a_oSettings, const Migrations& a_oMigrations, std::ostream& a_oReport,
                int a_iModule)
{
    const std::string sBackup = a_oSettings.m_sBackup == "-" ? "standard input" : a_oSettings.m_sBackup;
    try {
        const auto iNumber = storeBackup(
            a_oSettings.m_sBackup, a_oSettings.m_sStoreDirectory, a_oSettings.m_sDatabaseDirectory,
            a_oSettings.m_oLimits,
            [&](const std::string& a_sDump) { checkDump(a_oSettings, a_oMigrations, a_sDump, a_iModule); });
        a_oReport << sBackup << ": stored as generation " << iNumber << std::endl;
    } catch (const std::exception& oError) {
        ZEL_Sysloglevel_error(a_iModule, zel::here(), "%s is not restored, nothing has changed: %s",
                              sBackup.c_str(), isStopRequested() ? "interrupted by a signal" : oError.what());
        return false;
    }
    // A board may keep its settings elsewhere than in this store: the daemon has them saved once more.
    const std::ofstream oMark(a_oSettings.m_sDatabaseDirectory + "/" + systema::c_pUnsavedMark);
    return true;
}

} // namespace

ERestored restoreDatabases(const RestoreSettings& a_oSettings, std::ostream& a_oReport)
{
    const int iModule = ZEL_Sysloglevel_registerModul("ledger-restore");
    ERestored eWorst = ERestored::Current;
    try {
        makePrivateDirectory(a_oSettings.m_sDatabaseDirectory); // anyone able to open it can lock it
        const systema::DirectoryLock oLock(a_oSettings.m_sDatabaseDirectory);
        const Migrations oMigrations(a_oSettings.m_sFactoryDirectory + "/migrations", iModule);
        if (!a_oSettings.m_sBackup.empty() && !takeBackup(a_oSettings, oMigrations, a_oReport, iModule)) {
            return ERestored::Refused;
        }
        if (oMigrations.hasFaults()) {
            eWorst = ERestored::FellBack;
        }
        std::error_code oUnreadable;
        if (!fs::exists(a_oSettings.m_sStoreDirectory, oUnreadable) && !oUnreadable) {
            ZEL_Sysloglevel_warning(iModule, zel::here(), "There is no store %s: never saved, or not mounted",
                                    a_oSettings.m_sStoreDirectory.c_str());
            eWorst = a_oSettings.m_bStoreNamed ? ERestored::FellBack : eWorst;
        }
        std::vector<Generation> lGenerations;
        try {
            lGenerations = findGenerations(a_oSettings.m_sStoreDirectory);
        } catch (const fs::filesystem_error& oError) {
            ZEL_Sysloglevel_error(iModule, zel::here(), "cannot read the store %s: %s",
                                  oError.path1().c_str(), oError.code().message().c_str());
            eWorst = ERestored::FellBack;
        }
        // What a run that was killed has left is a mixture, and not to be kept.
        const std::string sMark = a_oSettings.m_sDatabaseDirectory + "/" + systema::c_pRestoringMark;
        RestoreSettings oSettings = a_oSettings;
        oSettings.m_bKeep = a_oSettings.m_bKeep && !fs::exists(sMark);
        if (oSettings.m_bKeep != a_oSettings.m_bKeep) {
            ZEL_Sysloglevel_warning(iModule, zel::here(),
                                    "A restore was killed before it was done: every database is made anew");
        }
        if (!oSettings.m_bKeep) {
            const std::ofstream oMark(sMark);
        }
        std::list<DatabaseRestore> lDatabases;
        for (const auto& oFile : systema::c_aDatabaseFiles) {
            DatabaseRestore& oDatabase =
                lDatabases.emplace_back(oFile, oSettings, lGenerations, oMigrations, iModule);
            eWorst = std::max(eWorst, oDatabase.run());
            if (!oDatabase.getSource().empty()) {
                a_oReport << oFile.m_pName << ": " << oDatabase.getSource() << std::endl;
            }
        }
        std::ranges::for_each(lDatabases, &DatabaseRestore::markTold);
        fs::remove(sMark);
    } catch (const std::system_error& oError) {
        if (oError.code() == std::errc::operation_would_block) {
            ZEL_Sysloglevel_error(iModule, zel::here(), "%s is in use; ledgerd must be stopped first",
                                  a_oSettings.m_sDatabaseDirectory.c_str());
        } else {
            ZEL_Sysloglevel_error(iModule, zel::here(), "%s", oError.what());
        }
        eWorst = ERestored::Failed;
    } catch (const std::exception& oError) {
        ZEL_Sysloglevel_error(iModule, zel::here(), "%s", oError.what());
        eWorst = ERestored::Failed;
    }
    return eWorst;
}

std::optional<std::string> findFault(const RestoreSettings& a_oSettings, const std::string& a_sDump)
{
    const int iModule = ZEL_Sysloglevel_registerModul("ledger-restore");
    const Migrations oMigrations(a_oSettings.m_sFactoryDirectory + "/migrations", iModule);
    try {
        checkDump(a_oSettings, oMigrations, a_sDump, iModule);
        return std::nullopt;
    } catch (const systema::SqliteError& oError) {
        return oError.what();
    }
}

EChecked checkDumps(const RestoreSettings& a_oSettings, const std::vector<std::string>& a_lFiles,
                    std::ostream& a_oReport)
{
    const int iModule = ZEL_Sysloglevel_registerModul("ledger-restore");
    EChecked eWorst = EChecked::Good;
    const Migrations oMigrations(a_oSettings.m_sFactoryDirectory + "/migrations", iModule);
    for (const std::string& sFile : a_lFiles) {
        try {
            checkDump(a_oSettings, oMigrations, sFile, iModule);
        } catch (const systema::SqliteError& oError) {
            const bool bArchive =
                sFile.ends_with(".tgz") || sFile.ends_with(".gz") || sFile.ends_with(".tar");
            a_oReport << sFile << ": " << oError.what()
                      << (bArchive ? "; a backup is checked and restored by --from" : "") << std::endl;
            eWorst = std::max(eWorst, oError.isOfMachine() ? EChecked::Unknown : EChecked::Bad);
        }
    }
    return eWorst;
}

} // namespace zel::cfg
