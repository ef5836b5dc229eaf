#include "restore/textfile.h"

#include "zel/uniquefd.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace zel::cfg {

namespace {

constexpr off_t c_iLongest = 256 * 1024 * 1024;

[[noreturn]] void throwError()
{
    throw std::runtime_error(std::strerror(errno));
}

} // namespace

std::string readTextFile(const std::string& a_sFile)
{
    const UniqueFd oFile(::open(a_sFile.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat oStatus
    {
    };
    if (!oFile || ::fstat(oFile.get(), &oStatus) != 0) {
        throwError();
    }
    if (!S_ISREG(oStatus.st_mode)) {
        throw std::runtime_error("not a regular file");
    }
    if (oStatus.st_size > c_iLongest) {
        throw std::runtime_error("longer than 256 MiB");
    }
    std::string sText(static_cast<std::size_t>(oStatus.st_size), '\0');
    std::size_t iRead = 0;
    while (iRead < sText.size()) {
        const ssize_t iPart = ::read(oFile.get(), sText.data() + iRead, sText.size() - iRead);
        if (iPart < 0) {
            throwError();
        }
        if (iPart == 0) {
            break; // it was cut while it was read
        }
        iRead += static_cast<std::size_t>(iPart);
    }
    sText.resize(iRead);
    if (sText.find('\0') != std::string::npos) {
        throw std::runtime_error("holds a NUL byte");
    }
    return sText;
}

} // namespace zel::cfg
