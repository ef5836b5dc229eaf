// Whoever uses the databases of a directory holds this, alone: the daemon, or who replaces them. It is the
// lock of flock() on the directory itself, and so ends with its holder, however that ends. A child that
// fork() makes holds it too; a program that it starts does not.
#pragma once

#include "zel/uniquefd.h"

#include <string>

namespace systema {

class DirectoryLock
{
public:
    /// Takes the lock at once or not at all. Throws std::system_error, with the directory's name, when it
    /// cannot be opened; with EWOULDBLOCK when another process holds the lock.
    explicit DirectoryLock(const std::string& a_sDirectory);

private:
    zel::UniqueFd m_oDirectory;
};

} // namespace systema
