// Tells whether somebody uses the databases of a directory: held shared by the daemon, alone by who replaces
// them. It is the lock of flock() on the directory itself, and so ends with its holder, however that ends.
#pragma once

#include "zel/uniquefd.h"

#include <string>

namespace systema {

class DirectoryLock
{
public:
    enum class EMode
    {
        Shared,
        Alone
    };

    /// Takes the lock at once or not at all. Throws std::system_error when the directory cannot be opened;
    /// with EWOULDBLOCK when another process holds a lock that excludes this one.
    DirectoryLock(const std::string& a_sDirectory, EMode a_eMode);

private:
    zel::UniqueFd m_oDirectory;
};

} // namespace systema
