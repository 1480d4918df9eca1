// The command line: parsed by the table of commands.
#pragma once

#include "tools/command.h"

#include <string>
#include <vector>

namespace dibprep::tool {

// Runs what the command line asks for; the exit code. Failures leave as exceptions.
int RunCommandLine(int argc, char** argv);

// Help of the tool, of one command, and on the options for many pages.
std::string OverviewHelp();
std::string CommandHelp(const Command& command);
std::string ManyPagesHelp();
// A sentence on the formats of this build.
std::string FormatsText();
// The two or one lines that say how a command is called.
std::vector<std::string> UsageLines(const Command& command);
// What an option does, with its standard value.
std::string OptionHelp(const Option& option);
// The exit codes and their meaning.
struct ExitMeaning {
    const char* code;
    const char* meaning;
};
const std::vector<ExitMeaning>& ExitMeanings();

// The command with this name, or null.
const Command* FindCommand(const std::string& name);
// The entry of a list that was most likely meant, or nothing when none is near.
std::string NearestWord(const std::string& word, const std::vector<std::string>& words);

} // namespace dibprep::tool
