// The claim of this process to write a generation into the store, which only one process may do at a time.
//
// It follows the protocol of srv-save-config-active: each process makes a directory with its id in the name
// before it looks for those of others, so that a process that sees no other is alone. Both
// remove the directories of dead processes. Used on one thread; released with its object.
#pragma once

#include <string>

namespace zel::cfg {

class SaveClaim
{
public:
    /// Throws std::filesystem::filesystem_error when the directory cannot be made.
    SaveClaim();
    ~SaveClaim();
    SaveClaim(const SaveClaim&) = delete;
    SaveClaim& operator=(const SaveClaim&) = delete;

    /// Throws std::runtime_error when another process has a claim. Removes those of dead processes.
    void requireAlone() const;

private:
    const std::string m_sDirectory;
};

} // namespace zel::cfg
