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

/// Frees the name when another user's file has it in a directory where everybody may make files, and logs
/// that: a FIFO or a link, which is not followed, is removed, and anything else is moved aside, since it may
/// hold what somebody needs. In another directory nobody has put it in our way, so the name itself must be
/// wrong, and what has it is left alone. True when there is nothing to free; false, with errno, when it
/// cannot be freed.
bool freeForeignName(const std::string& a_sName);

/// " belongs to user 1000" when another user's file has the name, otherwise nothing: for messages.
std::string foreignOwner(const std::string& a_sName);

} // namespace zel
