#include "restore/regularfile.h"

#include "storage/sqlitefile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <utility>

namespace zel::cfg {

RegularFile openRegularFile(const std::string& a_sFile)
{
    UniqueFd oFile(::open(a_sFile.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat oStatus
    {
    };
    if (!oFile && (errno == EACCES || errno == EMFILE || errno == ENFILE || errno == ENOMEM)) {
        throw systema::SqliteError(systema::SqliteError::ECause::Machine, std::strerror(errno));
    }
    if (!oFile || ::fstat(oFile.get(), &oStatus) != 0) {
        throwSystemError();
    }
    if (!S_ISREG(oStatus.st_mode)) {
        throw std::runtime_error("not a regular file");
    }
    return {std::move(oFile), static_cast<std::uint64_t>(oStatus.st_size)};
}

void throwSystemError()
{
    throw std::runtime_error(std::strerror(errno));
}

} // namespace zel::cfg
