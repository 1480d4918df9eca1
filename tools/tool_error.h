// How a command of the tool fails: an exit code and a sentence for the person who called it.
#pragma once

#include <stdexcept>
#include <string>

namespace dibprep::tool {

// What the tool exits with. A stop by a signal gives 128 plus the signal's number, as shells do.
enum ExitCode {
    ExitDone = 0,
    ExitSome = 1,        // some of many pages failed; two pictures differ
    ExitUsage = 2,       // the command line asks for something that does not exist
    ExitBadInput = 3,    // the input is damaged, or of a kind that the command does not take
    ExitLimit = 4,       // a limit, or memory ran out
    ExitInputOutput = 5, // a file could not be read or written, or is there already
    ExitSignalBase = 128
};

class ToolError : public std::runtime_error {
public:
    ToolError(ExitCode code, const std::string& message) : std::runtime_error(message), m_code(code) {}
    ExitCode code() const { return m_code; }

private:
    ExitCode m_code;
};

// Thrown where work stops because a signal asked for it. No message: the person knows.
struct Stopped {};

// What the exception means that is being handled: for use in a catch block.
struct Failure {
    int code;
    std::string message;
};
Failure CurrentFailure();

} // namespace dibprep::tool
