// The claim to be the only one who writes a generation into the store, by the protocol of
// srv-save-config-active: each makes a directory with its process id in its name before it looks for those of
// others, so that one who sees no other is alone. The save command removes what dead processes have left.
//
// Owned by who stores, on one thread; released with its object.
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

    /// Throws std::runtime_error when another process stores.
    void requireAlone() const;

private:
    const std::string m_sDirectory;
};

} // namespace zel::cfg
