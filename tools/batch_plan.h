// Which pages a call for many pages converts, and under which names: settled before the work begins.
#pragma once

#include "tools/command.h"

#include <cstddef>
#include <string>
#include <vector>

namespace dibprep::tool {

struct PageTask {
    std::string input;
    std::string output;
    bool skipped = false; // its result is there already
};

/*
 * The pages of the command line and of --from-list, cut to the --shard, each with its name in the
 * output folder, which is made when missing. Leaves with ExitUsage when two pages would get one name
 * (looked for among all shards, so that two of them cannot meet), and with ExitInputOutput when a
 * result exists already and neither --skip-existing nor --force says what to do.
 */
std::vector<PageTask> PlanPages(const Command& command, const Arguments& arguments);

// Whether a complete result lies under this name. Files appear complete or not at all.
bool ResultExists(const std::string& output);

// The names in a list: one a line, or, where there is a zero byte, one before each of those.
std::vector<std::string> SplitList(const std::string& text);

} // namespace dibprep::tool
