// Many pages in one call.
#pragma once

#include "tools/command.h"

namespace dibprep::tool {

/*
 * Converts every page in a process of its own, --jobs of them at a time. Pages that fail are told and
 * counted; the rest goes on. The exit code: ExitDone, ExitSome when a page failed, ExitInputOutput when
 * only the report did, or 128 and the signal that stopped it.
 */
int RunBatch(const Command& command, const Arguments& arguments);

} // namespace dibprep::tool
