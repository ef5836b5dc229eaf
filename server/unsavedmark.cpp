#include "server/unsavedmark.h"

#include "storage/databasefiles.h"
#include "zel/log.h"
#include "zel/uniquefd.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zel::cfg {

UnsavedMark::UnsavedMark(const std::string& a_sDirectory, int a_iModule)
    : m_sFile(a_sDirectory + "/" + systema::c_pUnsavedMark),
      m_bFound(::access(m_sFile.c_str(), F_OK) == 0)
{
    if (!UniqueFd(::open(m_sFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR))) {
        ZEL_Sysloglevel_error(a_iModule, here(), "%s: %s", m_sFile.c_str(), std::strerror(errno));
    }
    if (::unlink((a_sDirectory + "/" + systema::c_pRestoringMark).c_str()) == 0) {
        ZEL_Sysloglevel_error(
            a_iModule, here(),
            "A restore was killed before it was done: databases may be of different states");
    }
}

void UnsavedMark::remove() const
{
    ::unlink(m_sFile.c_str());
}

} // namespace zel::cfg
