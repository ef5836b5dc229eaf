#include "zel/foreignname.h"

#include "zel/log.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
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

bool moveAside(const std::string& a_sName)
{
    std::string sAside = a_sName + ".XXXXXX";
    if (::mkdtemp(sAside.data()) == nullptr) {
        return false;
    }
    if (::rename(a_sName.c_str(), sAside.c_str()) != 0) {
        const int iErrno = errno;
        ::rmdir(sAside.c_str());
        errno = iErrno;
        return false;
    }
    return true;
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
    if (!oStatus) {
        return true;
    }
    const bool bFreed = S_ISDIR(oStatus->st_mode) ? moveAside(a_sName) : ::unlink(a_sName.c_str()) == 0;
    const int iErrno = errno;
    if (bFreed) {
        ZEL_Sysloglevel_warning(ZEL_Sysloglevel_registerModul("ForeignName"), here(),
                                "%s was made by user %u and is not used: it is %s", a_sName.c_str(),
                                static_cast<unsigned>(oStatus->st_uid),
                                S_ISDIR(oStatus->st_mode) ? "moved aside" : "removed");
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
