// Names of ours in a directory where everybody may make files, as /tmp: what another user has put there is
// not used, and must not keep us from starting for ever.
//
// A file is another user's when neither root nor the process's own user owns it, or when it has a second
// name, which that user may have given it here. Any thread.
#pragma once

#include <string>
#include <sys/stat.h>

namespace zel {

/// How often to try to take a name that another user puts something under again and again.
constexpr int c_iNameTries = 100;

bool isForeign(const struct stat& a_oStatus);

/// Frees the name when another user's file has it, and logs that: a directory is moved aside, anything else
/// loses this name; a link is not followed. True when there is nothing of another user, whatever else there
/// may be; false, with errno, when it cannot be removed.
bool freeForeignName(const std::string& a_sName);

/// " belongs to user 1000" when another user's file has the name, otherwise nothing: for messages.
std::string foreignOwner(const std::string& a_sName);

} // namespace zel
