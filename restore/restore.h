// Makes the databases of a gateway from what was saved, before the daemon starts.
//
// Run by ledger-restore at boot; never throws. It holds the lock on the database directory meanwhile, and so
// does nothing while the daemon runs. Which database came from where goes to the report, all else to the log
// module "ledger-restore".
#pragma once

#include "restore/limits.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace zel::cfg {

struct RestoreSettings
{
    std::string m_sDatabaseDirectory; // made when it is missing
    std::string m_sStoreDirectory;    // need not exist
    std::string m_sFactoryDirectory;
    bool m_bKeep = false; // leave alone what is sound and has the current schema
    Limits m_oLimits = Limits::ofMachine();
    std::string m_sBackup{};    // a file of `ledgerctl backup` to store first; empty for none
    bool m_bStoreNamed = false; // by somebody who expects that there is one
};

/// What became of a database, and of all of them: the worst. The exit status of ledger-restore.
enum class ERestored
{
    Current = 0,  // as last saved, or never saved
    FellBack = 1, // to an older state: what was saved last is missing, damaged or could not be migrated
    Failed = 2,   // could not be made, or is in use; the file is as it was
    Refused = 3,  // the backup is unusable or could not be stored; store and databases are as they were
};

ERestored restoreDatabases(const RestoreSettings& a_oSettings, std::ostream& a_oReport);

/// What is wrong with a dump, in one line without its name, as --from and --check judge it. The other
/// settings than factory and limits do not matter. Touches no file.
std::optional<std::string> findFault(const RestoreSettings& a_oSettings, const std::string& a_sDump);

/// What can be said of dumps. The exit status of ledger-restore --check.
enum class EChecked
{
    Good = 0,
    Bad = 1,     // at least one is of no use to a boot
    Unknown = 2, // a dump could not be judged: no space, no memory, no permission
};

/// Checks dumps as a boot would find them, which it does with one named "persistent-web.db.sql" and so on by
/// going the whole way to the database, but for writing it. Reports a line "FILE: FAULT" for each that is not
/// good. Touches no file, and so may run beside the daemon; never throws.
EChecked checkDumps(const RestoreSettings& a_oSettings, const std::vector<std::string>& a_lFiles,
                    std::ostream& a_oReport);

} // namespace zel::cfg
