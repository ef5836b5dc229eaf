#include "restore/restore.h"

#include "restore/databaserestore.h"
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

} // namespace

ERestored restoreDatabases(const RestoreSettings& a_oSettings, std::ostream& a_oReport)
{
    const int iModule = ZEL_Sysloglevel_registerModul("ledger-restore");
    ERestored eWorst = ERestored::Current;
    try {
        makeDirectory(a_oSettings.m_sDatabaseDirectory);
        const systema::DirectoryLock oLock(a_oSettings.m_sDatabaseDirectory,
                                           systema::DirectoryLock::EMode::Alone);
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

} // namespace zel::cfg
