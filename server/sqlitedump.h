// Writes the registered databases as SQL dumps into the dump directory, one file "<name>.sql" a database.
//
// Owned by main; main thread only. The sqlite3 shell of the system does the work, so the caller must have let
// the databases go. The caller waits for it, up to a ceiling, at which the shell is killed. Failures are
// logged and returned: a dump that is still corrupt after the last try stays where it is.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace systema {
class SqlitePlugin;
}

namespace zel::cfg {

class SqliteDump
{
public:
    /// Further tries that a save and the command channel give a dump.
    static constexpr int c_iRetries = 2;
    /// What all tries to dump a database may take together.
    static constexpr std::chrono::milliseconds c_oCeiling = std::chrono::seconds(5);

    /// The paths must live as long as this object. They become part of a shell command as they are. A null
    /// path is an assertion failure.
    SqliteDump(const char* a_pDumpPath, const char* a_pDatabasePath, bool a_bVerbose,
               std::chrono::milliseconds a_oCeiling = c_oCeiling);

    /// Throws std::runtime_error for a directory in which the path of a dump is longer than can be checked:
    /// such a dump counts as corrupt however good it is.
    static void checkPath(const std::string& a_sDirectory);

    bool hasPlugin(const systema::SqlitePlugin* a_pPlugin) const;
    /// Registers a plugin, which is not owned. One that is null or registered is an assertion failure.
    void addPlugin(const systema::SqlitePlugin* a_pPlugin);

    /// Dumps the persistent databases, the others, or both, in order of registration, each with up to
    /// a_iRetries further tries while its dump is not complete. True when all of them are. A dump directory
    /// that does not answer within the ceiling ends it. While the dumps of the persistent ones are not all
    /// good and of one moment there is a file "incomplete" beside them.
    bool dump(bool a_bPersistent, bool a_bTransient, int a_iRetries);
    /// True when the file is a complete dump: it ends in "COMMIT;" and exactly one more byte.
    bool checkDump(const char* a_pPath);

private:
    bool directoryAnswers() const;
    bool dumpDatabase(const std::string& a_sName, int a_iRetries);
    bool endsInCommit(int a_iFd, const char* a_pPath) const;

    const int m_iModule;
    std::vector<const systema::SqlitePlugin*> m_lPlugins;
    const char* m_pDumpPath;
    const char* m_pDatabasePath;
    const std::chrono::milliseconds m_oCeiling;
};

} // namespace zel::cfg
