#include "zel/foreignname.h"

#include "zel/log.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <unistd.h>

namespace zel {

namespace {

/// The status of another user's file that has the name.
std::optional<struct stat> foreignStatus(const std::string& a_sName)
{
    struct stat oStatus
    {
    };
    if (::lstat(a_sName.c_str(), &oStatus) != 0 || !isForeign(oStatus)) {
        return {};
    }
    return oStatus;
}

/// True when everybody may make files in the directory that has the name, as in /tmp.
bool isPublic(const std::string& a_sName)
{
    struct stat oStatus
    {
    };
    const auto sDirectory = std::filesystem::path(a_sName).parent_path();
    return ::stat(sDirectory.empty() ? "." : sDirectory.c_str(), &oStatus) == 0 &&
           (oStatus.st_mode & S_IWOTH) != 0;
}

/// The name that it has then, empty with errno when it cannot be moved. A directory takes the place of an
/// empty one, and anything else one in it.
std::string moveAside(const std::string& a_sName, bool a_bDirectory)
{
    std::string sDirectory = a_sName + ".XXXXXX";
    if (::mkdtemp(sDirectory.data()) == nullptr) {
        return {};
    }
    std::string sAside = a_bDirectory ? sDirectory : sDirectory + "/moved";
    if (::rename(a_sName.c_str(), sAside.c_str()) != 0) {
        const int iErrno = errno;
        ::rmdir(sDirectory.c_str());
        errno = iErrno;
        return {};
    }
    return sAside;
}

} // namespace

bool isForeign(const struct stat& a_oStatus)
{
    const bool bOwned = a_oStatus.st_uid == 0 || a_oStatus.st_uid == ::geteuid();
    return !bOwned || (!S_ISDIR(a_oStatus.st_mode) && a_oStatus.st_nlink != 1);
}

bool freeForeignName(const std::string& a_sName)
{
    const auto oStatus = foreignStatus(a_sName);
    if (!oStatus || !isPublic(a_sName)) {
        return true;
    }
    const bool bEmpty = S_ISFIFO(oStatus->st_mode) || S_ISLNK(oStatus->st_mode);
    const std::string sAside = bEmpty ? "" : moveAside(a_sName, S_ISDIR(oStatus->st_mode));
    const bool bFreed = bEmpty ? ::unlink(a_sName.c_str()) == 0 : !sAside.empty();
    const int iErrno = errno;
    if (bFreed) {
        ZEL_Sysloglevel_warning(ZEL_Sysloglevel_registerModul("ForeignName"), here(),
                                "%s was made by user %u and is not used: it is %s%s", a_sName.c_str(),
                                static_cast<unsigned>(oStatus->st_uid),
                                bEmpty ? "removed" : "moved aside to ", sAside.c_str());
    }
    errno = iErrno;
    return bFreed || iErrno == ENOENT;
}

std::string foreignOwner(const std::string& a_sName)
{
    const auto oStatus = foreignStatus(a_sName);
    return oStatus ? " belongs to user " + std::to_string(oStatus->st_uid) : "";
}

} // namespace zel
