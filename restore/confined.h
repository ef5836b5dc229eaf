// Work on a text from outside, in a process of its own with limits: nothing that stands in the text can hang
// the boot, take its memory or end it.
//
// Stateless; the caller has one thread.
#pragma once

#include "restore/limits.h"
#include "storage/sqlitefile.h"

#include <functional>
#include <string>

namespace zel::cfg {

/// The work took more than its time.
class OutOfTime : public systema::SqliteError
{
public:
    using SqliteError::SqliteError;
};

/// Runs the work in a child process under the limits for a file of that size, and gives what it returned, 0
/// to
/// 99. What the work throws is thrown here: an SqliteError as it is, any other
/// std::runtime_error as one of the content, everything else as one of the machine. Work that passes a limit
/// or crashes is a fault of the content.
int runConfined(const Limits& a_oLimits, const std::string& a_sFile, const std::function<int()>& a_oWork);

} // namespace zel::cfg
