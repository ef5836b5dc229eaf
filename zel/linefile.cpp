#include "zel/linefile.h"

#include "zel/uniquefd.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace zel {

namespace {

constexpr int c_iMostLinks = 8;

[[noreturn]] void fail(const std::filesystem::path& a_oPath, int a_iError = errno)
{
    throw std::system_error(a_iError, std::generic_category(), a_oPath);
}

/// True for what somebody else may have put there.
bool isForeign(const struct stat& a_oStatus, const std::filesystem::path& a_oDirectory)
{
    struct stat oDirectory;
    if (::stat(a_oDirectory.c_str(), &oDirectory) != 0) {
        fail(a_oDirectory);
    }
    return (oDirectory.st_mode & S_IWOTH) != 0 && a_oStatus.st_uid != oDirectory.st_uid &&
           a_oStatus.st_uid != ::geteuid();
}

/// What the descriptor of a link leads to.
std::filesystem::path target(const UniqueFd& a_oLink, const std::filesystem::path& a_oPath)
{
    std::array<char, PATH_MAX> aTarget;
    const ssize_t iSize = ::readlinkat(a_oLink.get(), "", aTarget.data(), aTarget.size());
    if (iSize < 0) {
        fail(a_oPath);
    }
    return a_oPath.parent_path() / std::string_view(aTarget.data(), static_cast<std::size_t>(iSize));
}

struct Place
{
    std::filesystem::path m_oPath; // no link
    UniqueFd m_oFile;              // of O_PATH; none when there is no file
};

/// Follows the links.
Place find(std::filesystem::path a_oPath)
{
    for (int i = 0; i < c_iMostLinks; ++i) {
        UniqueFd oFile(::open(a_oPath.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (!oFile && errno == ENOENT) {
            return {std::move(a_oPath), UniqueFd()};
        }
        struct stat oStatus;
        if (!oFile || ::fstat(oFile.get(), &oStatus) != 0) {
            fail(a_oPath);
        }
        if (isForeign(oStatus, a_oPath.parent_path())) {
            fail(a_oPath, EACCES);
        }
        if (S_ISREG(oStatus.st_mode)) {
            return {std::move(a_oPath), std::move(oFile)};
        }
        if (!S_ISLNK(oStatus.st_mode)) {
            fail(a_oPath, EINVAL); // opening it might wait, or act
        }
        a_oPath = target(oFile, a_oPath);
    }
    fail(a_oPath, ELOOP);
}

/// Opens the file that was found: there may be another at its path by now.
UniqueFd open(const Place& a_oPlace, int a_iMode)
{
    const std::string sPath = "/proc/self/fd/" + std::to_string(a_oPlace.m_oFile.get());
    UniqueFd oFile(a_oPlace.m_oFile ? ::open(sPath.c_str(), a_iMode | O_CLOEXEC) : -1);
    if (!oFile) {
        fail(a_oPlace.m_oPath, a_oPlace.m_oFile ? errno : ENOENT);
    }
    return oFile;
}

std::string readStart(const UniqueFd& a_oFile, std::size_t a_iMostBytes)
{
    std::string sStart(a_iMostBytes, '\0');
    std::size_t iSize = 0;
    ssize_t iPiece = 0;
    do {
        iPiece =
            ::pread(a_oFile.get(), sStart.data() + iSize, sStart.size() - iSize, static_cast<off_t>(iSize));
        iSize += static_cast<std::size_t>(std::max<ssize_t>(iPiece, 0));
    } while (iPiece > 0 || (iPiece < 0 && errno == EINTR));
    sStart.resize(iSize);
    return sStart;
}

/// Writes over the start of the file and gives it its size. False, with errno, when the system does not do
/// all of it.
bool overwrite(const UniqueFd& a_oFile, std::string_view a_sStart, off_t a_iSize)
{
    std::size_t iDone = 0;
    while (iDone < a_sStart.size()) {
        const ssize_t iPiece = ::pwrite(a_oFile.get(), a_sStart.data() + iDone, a_sStart.size() - iDone,
                                        static_cast<off_t>(iDone));
        if (iPiece < 0 && errno != EINTR) {
            return false;
        }
        iDone += static_cast<std::size_t>(std::max<ssize_t>(iPiece, 0));
    }
    return ::ftruncate(a_oFile.get(), a_iSize) == 0;
}

/// Makes the file, readable by all whatever the daemon's mask. One that cannot be written is removed again.
void create(const std::filesystem::path& a_oPath, std::string_view a_sText)
{
    const UniqueFd oFile(::open(a_oPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!oFile) {
        fail(a_oPath);
    }
    if (!overwrite(oFile, a_sText, static_cast<off_t>(a_sText.size())) || ::fchmod(oFile.get(), 0644) != 0) {
        const int iError = errno;
        ::unlink(a_oPath.c_str());
        fail(a_oPath, iError);
    }
}

} // namespace

std::string LineFile::read(std::size_t a_iMostBytes) const
{
    const std::string sStart = readStart(open(find(m_sPath), O_RDONLY), a_iMostBytes);
    const std::size_t iEnd = sStart.find('\n');
    if (iEnd == std::string::npos) {
        fail(m_sPath, EINVAL);
    }
    return sStart.substr(0, iEnd);
}

void LineFile::write(std::string_view a_sLine) const
{
    const std::string sText = std::string(a_sLine) + '\n';
    const Place oPlace = find(m_sPath);
    if (!oPlace.m_oFile) {
        create(oPlace.m_oPath, sText);
        return;
    }
    const UniqueFd oFile = open(oPlace, O_RDWR);
    struct stat oOld;
    if (::fstat(oFile.get(), &oOld) != 0) {
        fail(oPlace.m_oPath);
    }
    const std::string sOldStart = readStart(oFile, sText.size());
    if (!overwrite(oFile, sText, static_cast<off_t>(sText.size()))) {
        const int iError = errno;
        overwrite(oFile, sOldStart, oOld.st_size);
        fail(oPlace.m_oPath, iError);
    }
}

} // namespace zel
