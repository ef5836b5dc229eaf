// The database files of the gateway, in the order in which they are attached.
#pragma once

#include <string>
#include <vector>

namespace systema {

struct DatabaseFile
{
    const char* m_pName;
    bool m_bUseTransactions; // false: each write is committed on its own
    bool m_bPersistent;      // saved to flash and brought back at boot
    bool m_bExclusive;       // locked for the daemon alone while it runs
};

inline constexpr DatabaseFile c_aDatabaseFiles[] = {
    {"transient.db", true, false, true},         {"persistent-common.db", true, true, true},
    {"persistent-network.db", true, true, true}, {"persistent-phone.db", true, true, true},
    {"persistent-tr069.db", true, true, true},   {"persistent-web.db", true, true, true},
    {"services.db", false, true, true},          {"persistent-area.db", false, true, true},
};

/// Beside the databases while there may be changes that are not saved: a daemon that starts and finds it
/// saves.
inline constexpr const char* c_pUnsavedMark = "unsaved";

/// Beside the databases while all of them are made anew, and after a run that was killed meanwhile: then some
/// are of one state and some of another. The next run makes them all, and a daemon that starts before that
/// makes them its own.
inline constexpr const char* c_pRestoringMark = "restoring";

/// The names of those that are not in the directory, or are there without a byte: to open such a file makes a
/// database without tables. A file that cannot be looked at is not missing.
std::vector<std::string> findMissingDatabases(const std::string& a_sDirectory);

} // namespace systema
