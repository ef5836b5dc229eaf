// What the commands do, a function each. Called with a connection that is made, unless its row of the table
// of commands says that it needs none; 0, a result code, 64 for a file that will not do, or 69 when the
// daemon cannot be reached.
#pragma once

#include "cli/arguments.h"
#include "cli/outcome.h"
#include "cli/session.h"

namespace systema::cli {

Outcome runTables(Session& a_oSession, const Arguments& a_oArguments);
Outcome runSchema(Session& a_oSession, const Arguments& a_oArguments);
Outcome runCount(Session& a_oSession, const Arguments& a_oArguments);
Outcome runGet(Session& a_oSession, const Arguments& a_oArguments);
/// set, add and del.
Outcome runWrite(Session& a_oSession, const Arguments& a_oArguments);
/// Until SIGINT or SIGTERM, which end it with 0.
Outcome runWatch(Session& a_oSession, const Arguments& a_oArguments);
Outcome runBatch(Session& a_oSession, const Arguments& a_oArguments);
Outcome runExport(Session& a_oSession, const Arguments& a_oArguments);
Outcome runImport(Session& a_oSession, const Arguments& a_oArguments);
Outcome runInfo(Session& a_oSession, const Arguments& a_oArguments);
Outcome runControl(Session& a_oSession, const Arguments& a_oArguments);
Outcome runBackup(Session& a_oSession, const Arguments& a_oArguments);
Outcome runRestoreCheck(Session& a_oSession, const Arguments& a_oArguments);

} // namespace systema::cli
