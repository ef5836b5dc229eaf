#include "restore/restore.h"

#include "restore/databaserestore.h"
#include "restore/dumpcheck.h"
#include "storage/directorylock.h"
#include "zel/log.h"

#include <algorithm>
#include <filesystem>
#include <ostream>

namespace fs = std::filesystem;

namespace zel::cfg {

namespace {

constexpr fs::perms c_eDirectoryMode{0700}; // who can open it can lock it

void makeDirectory(const std::string& a_sDirectory)
{
    if (fs::create_directories(a_sDirectory)) {
        fs::permissions(a_sDirectory, c_eDirectoryMode);
    }
}

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

} // namespace

ERestored restoreDatabases(const RestoreSettings& a_oSettings, std::ostream& a_oReport)
{
    const int iModule = ZEL_Sysloglevel_registerModul("ledger-restore");
    ERestored eWorst = ERestored::Current;
    try {
        makeDirectory(a_oSettings.m_sDatabaseDirectory);
        const systema::DirectoryLock oLock(a_oSettings.m_sDatabaseDirectory);
        std::vector<Generation> lGenerations;
        try {
            lGenerations = findGenerations(a_oSettings.m_sStoreDirectory);
        } catch (const fs::filesystem_error& oError) {
            ZEL_Sysloglevel_error(iModule, zel::here(), "%s", oError.what());
            eWorst = ERestored::FellBack;
        }
        const Migrations oMigrations(a_oSettings.m_sFactoryDirectory + "/migrations", iModule);
        for (const auto& oFile : systema::c_aDatabaseFiles) {
            DatabaseRestore oDatabase(oFile, a_oSettings, lGenerations, oMigrations, iModule);
            eWorst = std::max(eWorst, oDatabase.run());
            if (!oDatabase.getSource().empty()) {
                a_oReport << oFile.m_pName << ": " << oDatabase.getSource() << std::endl;
            }
        }
    } catch (const std::exception& oError) {
        ZEL_Sysloglevel_error(iModule, zel::here(), "%s", oError.what());
        eWorst = ERestored::Failed;
    }
    return eWorst;
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
            a_oReport << sFile << ": " << oError.what() << std::endl;
            eWorst = std::max(eWorst, oError.isOfMachine() ? EChecked::Unknown : EChecked::Bad);
        }
    }
    return eWorst;
}

} // namespace zel::cfg
