#include "storage/directorylock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <system_error>

namespace systema {

DirectoryLock::DirectoryLock(const std::string& a_sDirectory)
    : m_oDirectory(::open(a_sDirectory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    if (!m_oDirectory) {
        throw std::system_error(errno, std::generic_category(), a_sDirectory);
    }
    if (::flock(m_oDirectory.get(), LOCK_EX | LOCK_NB) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                a_sDirectory + (errno == EWOULDBLOCK ? " is in use" : ""));
    }
}

} // namespace systema
