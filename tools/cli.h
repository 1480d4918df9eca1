// The command line: parsed by the table of commands.
#pragma once

#include "tools/command.h"

#include <string>

namespace dibprep::tool {

// Runs what the command line asks for; the exit code. Failures leave as exceptions.
int RunCommandLine(int argc, char** argv);

// Help of the tool, and of one command.
std::string OverviewHelp();
std::string CommandHelp(const Command& command);

} // namespace dibprep::tool
