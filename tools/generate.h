// Manual pages and shell completions, made from the table of commands while the tool is built.
#pragma once

#include <string>

namespace dibprep::tool {

// Manual page of the tool (empty name) or of a command, in the man macros.
std::string ManualPage(const std::string& command);

std::string BashCompletion();
std::string ZshCompletion();
std::string FishCompletion();

// The table as JSON, for the tests that compare these with it.
std::string TableText();

// Writes all of them below a folder, in the places where an installation keeps them.
void GenerateFiles(const std::string& folder);

} // namespace dibprep::tool
