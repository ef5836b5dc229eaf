// A file beside the databases while they may hold what is not saved. A daemon that is killed leaves it, and
// the next one saves what it finds: nobody else knows of those changes, and no later one may ever come. A
// power cut takes file and databases together.
//
// It also ends the restore of a run of ledger-restore that was killed: what this daemon changes is not to be
// replaced by the next run. Made by main; main thread only. A file that cannot be made is logged.
#pragma once

#include <string>

namespace zel::cfg {

class UnsavedMark
{
public:
    /// Makes the file in the directory of the databases.
    UnsavedMark(const std::string& a_sDirectory, int a_iModule);

    /// True when an earlier daemon has left it.
    bool wasFound() const { return m_bFound; }
    void remove() const;

private:
    const std::string m_sFile;
    const bool m_bFound;
};

} // namespace zel::cfg
